#include "bench/baseline.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <memory>

#include "mrp/types/BigEndian.h"

namespace Bench {
namespace {

void packEvent(std::vector<std::uint8_t>& vector, std::size_t index, std::uint8_t event) {
  switch (index % 3) {
    case 0:
      vector.push_back(static_cast<std::uint8_t>(event * 36));
      break;
    case 1:
      vector.back() = static_cast<std::uint8_t>(vector.back() + event * 6);
      break;
    case 2:
      vector.back() = static_cast<std::uint8_t>(vector.back() + event);
      break;
  }
}

}  // namespace

std::vector<PlainMap> plainMaps(std::size_t maps, std::uint64_t first, std::size_t count) {
  // 48 octets of the heap, its own header counted.
  using Spacer = std::array<std::byte, 40>;
  std::vector<PlainMap> out(maps);
  std::vector<std::unique_ptr<Spacer>> spacers(maps);
  for (std::size_t map = 0; map < maps; ++map) {
    for (std::size_t i = 0; i < count; ++i) {
      out[map].emplace_hint(out[map].end(), first + i, Plain{});
    }
    spacers[map] = std::make_unique<Spacer>();
  }
  return out;
}

ReceiveBaseline::ReceiveBaseline(std::size_t mostEvents) {
  staged_.reserve(mostEvents);
  queue_.reserve(mostEvents);
}

void ReceiveBaseline::stage(std::uint64_t first, std::span<const std::uint8_t> packed,
                            std::size_t count) {
  struct Value {
    Mrp::BigEndian<std::uint64_t> number;
    std::array<std::uint8_t, 56> rest{};
    std::uint8_t event = 0;
  };
  static_assert(sizeof(Value) == 65);
  Value value{.number = first};
  std::size_t left = count;
  for (const unsigned octet : packed) {
    for (const unsigned event : {octet / 36, octet / 6 % 6, octet % 6}) {
      if (left == 0) break;
      --left;
      const std::uint64_t key = value.number;
      value.event = static_cast<std::uint8_t>(event);
      staged_.try_emplace(key, std::bit_cast<std::array<std::uint8_t, 65>>(value));
      queue_.push_back(key);
      value.number = key + 1;
    }
  }
}

void ReceiveBaseline::clear() {
  staged_.clear();
  queue_.clear();
}

void ReceiveBaseline::pdu(const PlainMap& map, std::uint64_t first,
                          std::span<const std::uint8_t> packed, std::size_t count) {
  stage(first, packed, count);
  for (const std::uint64_t key : queue_) benchmark::DoNotOptimize(map.find(key));
  clear();
}

void ReceiveBaseline::acrossMaps(const std::vector<PlainMap>& maps, std::uint64_t key,
                                 std::span<const std::uint8_t> packed) {
  stage(0, packed, maps.size());
  for (const std::uint64_t map : queue_) benchmark::DoNotOptimize(maps[map].find(key));
  clear();
}

void LeaveAllBaseline::walk(PlainMap& map) {
  constexpr std::uint8_t joinIn = 1;
  first_.clear();
  second_.clear();
  std::size_t index = 0;
  for (auto& [key, plain] : map) {
    ++plain.octets[0];
    packEvent(first_, index, joinIn);
    packEvent(second_, index, joinIn);
    ++index;
  }
  benchmark::DoNotOptimize(first_.data());
  benchmark::DoNotOptimize(second_.data());
  benchmark::ClobberMemory();
}

void findAll(const PlainMap& map, std::uint64_t first, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) benchmark::DoNotOptimize(map.find(first + i));
}

void mergeAll(PlainMap& published, PlainMap& pending) { published.merge(pending); }

void eraseAll(PlainMap& published, std::uint64_t first, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) published.erase(first + i);
}

void SpliceBaseline::inAndOut() {
  Node head;
  head.previous = head.next = &head;
  for (Node& node : nodes_) {
    node.previous = head.previous;
    node.next = &head;
    head.previous->next = &node;
    head.previous = &node;
  }
  benchmark::ClobberMemory();
  for (Node& node : nodes_) {
    node.previous->next = node.next;
    node.next->previous = node.previous;
  }
  benchmark::DoNotOptimize(head.next);
  benchmark::ClobberMemory();
}

void walkAll(const PlainMap& map) {
  std::uint64_t sum = 0;
  for (const auto& [key, plain] : map) sum += key;
  benchmark::DoNotOptimize(sum);
}

}  // namespace Bench

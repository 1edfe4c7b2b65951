#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

// What the rows are measured against: the same work in bare standard containers, written plainly.
// Nobody's port, state machine or packet is in it.
namespace Bench {

struct Plain {
  std::array<std::uint8_t, 64> octets{};
};
using PlainMap = std::map<std::uint64_t, Plain>;

// Maps with the keys first..first+count-1. Built one after the other, each in order of its keys: in
// a process that has freed nothing yet the nodes lie in memory as they are walked, which is kind to
// the baseline. So a case makes them before its network. A walk takes twice as long when the first
// node begins at a multiple of 32 octets as when it begins 16 octets further on; which of the two a
// program gets is chance, so that every other map is shifted and both have their part.
std::vector<PlainMap> plainMaps(std::size_t maps, std::uint64_t first, std::size_t count);

// R. Each event of a PDU is decoded and staged, found again in the order of arrival, and looked up
// in the map of its port. The containers are reused from PDU to PDU and were reserved beforehand.
class ReceiveBaseline {
 public:
  explicit ReceiveBaseline(std::size_t mostEvents);
  // `packed` holds `count` events, three to an octet, for the keys from `first` on.
  void pdu(const PlainMap& map, std::uint64_t first, std::span<const std::uint8_t> packed,
           std::size_t count);
  // The same with an event for each map, all of them for `key`.
  void acrossMaps(const std::vector<PlainMap>& maps, std::uint64_t key,
                  std::span<const std::uint8_t> packed);

 private:
  void stage(std::uint64_t first, std::span<const std::uint8_t> packed, std::size_t count);
  void clear();

  std::unordered_map<std::uint64_t, std::array<std::uint8_t, 65>> staged_;
  std::vector<std::uint64_t> queue_;
};

// L. Walks a map in order, changes a state octet and packs an event into two vectors.
class LeaveAllBaseline {
 public:
  void walk(PlainMap& map);

 private:
  std::vector<std::uint8_t> first_;
  std::vector<std::uint8_t> second_;
};

// F. Finds the keys first..first+count-1 in order.
void findAll(const PlainMap& map, std::uint64_t first, std::size_t count);

// M. Merges one map into another; erases the keys first..first+count-1.
void mergeAll(PlainMap& published, PlainMap& pending);
void eraseAll(PlainMap& published, std::uint64_t first, std::size_t count);

// S. Nodes of an intrusive list, each in a structure of 64 octets.
class SpliceBaseline {
 public:
  explicit SpliceBaseline(std::size_t nodes) : nodes_(nodes) {}
  // Splices every node in at the end of the list, then every node out again.
  void inAndOut();

 private:
  struct Node {
    Node* previous = nullptr;
    Node* next = nullptr;
    std::array<std::uint8_t, 48> rest{};
  };
  std::vector<Node> nodes_;
};

// A walk over a map in order that reads every key.
void walkAll(const PlainMap& map);

}  // namespace Bench

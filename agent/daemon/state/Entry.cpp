#include "agent/daemon/state/Entry.h"

namespace Daemon {
namespace {

template <class Number>
void put(std::vector<std::uint8_t>& message, Number number) {
  for (std::size_t i = sizeof number; i-- > 0;) {
    message.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
  }
}

template <class Number>
bool get(std::span<const std::uint8_t>& message, Number& number) {
  if (message.size() < sizeof number) return false;
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < sizeof number; ++i) value = value << 8 | message[i];
  number = static_cast<Number>(value);
  message = message.subspan(sizeof number);
  return true;
}

}  // namespace

void append(std::vector<std::uint8_t>& message, const Entry& entry) {
  put(message, static_cast<std::uint8_t>(entry.kind));
  put(message, entry.application);
  put(message, entry.type);
  put(message, static_cast<std::uint8_t>((entry.declared ? 1 : 0) | (entry.registered ? 2 : 0)));
  put(message, entry.ifindex);
  put(message, entry.key);
  put(message, static_cast<std::uint16_t>(entry.name.size()));
  put(message, static_cast<std::uint32_t>(entry.octets.size()));
  message.insert(message.end(), entry.name.begin(), entry.name.end());
  message.insert(message.end(), entry.octets.begin(), entry.octets.end());
}

std::optional<Entry> take(std::span<const std::uint8_t>& message) {
  std::span<const std::uint8_t> rest = message;
  Entry entry;
  std::uint8_t kind = 0;
  std::uint8_t flags = 0;
  std::uint16_t nameSize = 0;
  std::uint32_t octetsSize = 0;
  if (!get(rest, kind) || !get(rest, entry.application) || !get(rest, entry.type) ||
      !get(rest, flags) || !get(rest, entry.ifindex) || !get(rest, entry.key) ||
      !get(rest, nameSize) || !get(rest, octetsSize) ||
      rest.size() < std::size_t{nameSize} + octetsSize) {
    return std::nullopt;
  }
  entry.kind = static_cast<Entry::Kind>(kind);
  entry.declared = (flags & 1) != 0;
  entry.registered = (flags & 2) != 0;
  entry.name.assign(rest.begin(), rest.begin() + nameSize);
  rest = rest.subspan(nameSize);
  entry.octets.assign(rest.begin(), rest.begin() + octetsSize);
  message = rest.subspan(octetsSize);
  return entry;
}

std::vector<std::uint8_t> octetsOf(const Mrp::VlanSet& vlans) {
  std::vector<std::uint8_t> octets(512);
  vlans.walk([&](std::uint16_t vlan) {
    octets[vlan / 8u] = static_cast<std::uint8_t>(octets[vlan / 8u] | 1u << vlan % 8u);
  });
  return octets;
}

Mrp::VlanSet vlansOf(std::span<const std::uint8_t> octets) {
  Mrp::VlanSet vlans;
  for (std::size_t i = 0; i < octets.size() && i < 512; ++i) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      if (octets[i] >> bit & 1) vlans.put(static_cast<std::uint16_t>(i * 8 + bit), true);
    }
  }
  return vlans;
}

}  // namespace Daemon

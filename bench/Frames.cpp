#include "bench/Frames.h"

namespace Bench {
namespace {

using Mrp::MrpApplication;
using Platform::EthAddr;

constexpr unsigned kLeaveAll = 0x2000;
constexpr std::uint8_t kReady = 2;
constexpr std::size_t kFirstValue = 2;  // octets of a VLAN
constexpr std::size_t kTalkerSize = 25;
constexpr std::size_t kListenerSize = 8;

Octets operator+(Octets a, const Octets& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

Octets number(std::uint64_t value, std::size_t octets) {
  Octets out(octets);
  for (std::size_t i = octets; i-- > 0; value >>= 8) out[i] = static_cast<std::uint8_t>(value);
  return out;
}

Octets fourPacked(std::size_t count, std::uint8_t declaration) {
  Octets out((count + 3) / 4);
  for (std::size_t i = 0; i < count; ++i) {
    out[i / 4] = static_cast<std::uint8_t>(out[i / 4] | declaration << (6 - 2 * (i % 4)));
  }
  return out;
}

Octets frame(MrpApplication application, const Octets& messages) {
  const Identity identity = identityOf(application);
  const Octets destination(identity.addr.octets().begin(), identity.addr.octets().end());
  return destination + number(0x020000000101, 6) + number(identity.etype, 2) + Octets{0} +
         messages + Octets{0, 0};
}

Octets vlanMessage(const Octets& vector) { return Octets{1, kFirstValue} + vector + Octets{0, 0}; }

Octets streamMessage(std::uint8_t type, std::size_t valueSize, const Octets& vector) {
  return Octets{type, static_cast<std::uint8_t>(valueSize)} + number(vector.size() + 2, 2) +
         vector + Octets{0, 0};
}

Octets talkerMessage(std::uint64_t first, std::uint16_t count, std::uint8_t event) {
  return streamMessage(1, kTalkerSize,
                       number(count, 2) + number(first, 8) + number(0x91e0f0000000 + first, 6) +
                           number(2, 2) + number(64, 2) + number(1, 2) + Octets{0x70} +
                           number(1000, 4) + packedEvents(count, event));
}

Octets listenerMessage(std::uint64_t first, std::uint16_t count, std::uint8_t event) {
  return streamMessage(
      3, kListenerSize,
      number(count, 2) + number(first, 8) + packedEvents(count, event) + fourPacked(count, kReady));
}

Octets leaveAllVector(std::size_t valueSize) { return number(kLeaveAll, 2) + Octets(valueSize); }

}  // namespace

Identity identityOf(MrpApplication application) {
  return application == MrpApplication::msrp
             ? Identity{EthAddr::fromNumber(0x0180c200000e), 0x22ea}
             : Identity{EthAddr::fromNumber(0x0180c2000021), 0x88f5};
}

Octets packedEvents(std::size_t count, std::uint8_t event) {
  Octets out;
  for (std::size_t i = 0; i < count; i += 3) {
    const int second = i + 1 < count ? event : 0;
    const int third = i + 2 < count ? event : 0;
    out.push_back(static_cast<std::uint8_t>((event * 6 + second) * 6 + third));
  }
  return out;
}

Octets vlanFrame(std::uint16_t first, std::uint16_t count, std::uint8_t event) {
  return frame(MrpApplication::mvrp,
               vlanMessage(number(count, 2) + number(first, 2) + packedEvents(count, event)));
}

Octets vlanLeaveAllFrame() {
  return frame(MrpApplication::mvrp, vlanMessage(leaveAllVector(kFirstValue)));
}

Octets streamFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event) {
  return frame(MrpApplication::msrp,
               talkerMessage(first, count, event) + listenerMessage(first, count, event));
}

Octets talkerFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event) {
  return frame(MrpApplication::msrp, talkerMessage(first, count, event));
}

Octets listenerFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event) {
  return frame(MrpApplication::msrp, listenerMessage(first, count, event));
}

Octets domainFrame(std::uint8_t event) {
  const Octets classB{5, 2, 0, 2};
  return frame(MrpApplication::msrp,
               streamMessage(4, classB.size(), number(2, 2) + classB + packedEvents(2, event)));
}

Octets streamLeaveAllFrame() {
  return frame(MrpApplication::msrp,
               streamMessage(1, kTalkerSize, leaveAllVector(kTalkerSize)) +
                   streamMessage(3, kListenerSize, leaveAllVector(kListenerSize)));
}

}  // namespace Bench

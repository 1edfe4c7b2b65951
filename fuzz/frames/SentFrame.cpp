#include "fuzz/frames/SentFrame.h"

#include <cstddef>
#include <optional>

namespace Fuzz {
namespace {

using Octets = std::span<const std::uint8_t>;
using Mrp::MrpApplication;

constexpr std::size_t kFrameHeader = 15;  // addresses, EtherType, ProtocolVersion
constexpr std::size_t kLongestFrame = 1514;
constexpr std::size_t kEndMark = 2;
constexpr unsigned kLeaveAll = 1;  // in the top three bits of a vector header
constexpr unsigned kListener = 3;
constexpr std::size_t kVlanMessageHeader = 2;
constexpr std::size_t kLeastVlanVector = 5;  // that holds a value

std::uint64_t number(Octets octets) {
  std::uint64_t n = 0;
  for (const std::uint8_t octet : octets) n = n << 8 | octet;
  return n;
}

std::size_t firstValueSize(MrpApplication application, unsigned type) {
  constexpr std::size_t kMsrpSizes[] = {0, 25, 34, 8, 4};
  if (application == MrpApplication::mvrp) return type == 1 ? 2 : 0;
  return type < std::size(kMsrpSizes) ? kMsrpSizes[type] : 0;
}

// The first `n` events, packed three to an octet; the places behind the last one are 0.
bool threePackedSound(Octets octets, std::size_t n) {
  for (const unsigned octet : octets) {
    if (octet >= 6 * 6 * 6) return false;
  }
  constexpr unsigned kBehind[] = {1, 36, 6};
  return octets.empty() || octets.back() % kBehind[n % 3] == 0;
}

bool fourPackedSound(Octets octets, std::size_t n) {
  constexpr unsigned kBehind[] = {1, 64, 16, 4};
  return octets.empty() || octets.back() % kBehind[n % 4] == 0;
}

class Pdu {
 public:
  Pdu(MrpApplication application, Octets octets) : application_(application), octets_(octets) {}

  // What stands at `at`, a message or the end of the PDU, and all that follows.
  Soundness from(std::size_t at, unsigned lastType = 0) const {
    if (endMarkAt(at))
      return at + kEndMark == octets_.size() ? Soundness::sound : Soundness::broken;
    const std::optional<unsigned> type = messageAt(at);
    if (!type || *type < lastType) return Soundness::broken;
    if (const auto end = endOfMessage(at, *type)) {
      const Soundness rest = from(*end, *type);
      if (rest != Soundness::broken) return rest;
    }
    return leaveAllInside(at) ? Soundness::markInsideVectors : Soundness::broken;
  }

 private:
  bool has(std::size_t at, std::size_t n) const { return at + n <= octets_.size(); }
  std::size_t u16(std::size_t at) const { return number(octets_.subspan(at, 2)); }
  bool endMarkAt(std::size_t at) const { return has(at, kEndMark) && u16(at) == 0; }
  bool msrp() const { return application_ == MrpApplication::msrp; }

  // The type of the message whose header stands here.
  std::optional<unsigned> messageAt(std::size_t at) const {
    if (!has(at, headerSize())) return std::nullopt;
    const unsigned type = octets_[at];
    const std::size_t length = firstValueSize(application_, type);
    if (length == 0 || octets_[at + 1] != length) return std::nullopt;
    return type;
  }
  std::size_t headerSize() const { return msrp() ? 4 : kVlanMessageHeader; }

  // Where the next message stands, when this one is sound.
  std::optional<std::size_t> endOfMessage(std::size_t message, unsigned type) const {
    std::size_t at = message + headerSize();
    const std::size_t first = at;
    while (!endMarkAt(at)) {
      const std::size_t size = vectorAt(at, type);
      if (size == 0) return std::nullopt;
      at += size;
    }
    if (at == first) return std::nullopt;
    at += kEndMark;
    if (msrp() && at - first != u16(message + 2)) return std::nullopt;
    return at;
  }

  // Octets of the sound vector that stands here, 0 when there is none.
  std::size_t vectorAt(std::size_t at, unsigned type) const {
    const std::size_t fixed = 2 + firstValueSize(application_, type);
    if (!has(at, fixed)) return 0;
    const std::size_t header = u16(at);
    const std::size_t n = header & 0x1fff;
    const std::size_t leaveAll = header >> 13;
    if (leaveAll > kLeaveAll || (n == 0 && leaveAll == 0)) return 0;
    const std::size_t three = (n + 2) / 3;
    const std::size_t four = msrp() && type == kListener ? (n + 3) / 4 : 0;
    if (!has(at + fixed, three + four)) return 0;
    const bool sound = threePackedSound(octets_.subspan(at + fixed, three), n) &&
                       fourPackedSound(octets_.subspan(at + fixed + three, four), n);
    return sound ? fixed + three + four : 0;
  }

  // Whether the end of this message and a new one that begins with a LeaveAll of VLAN 0 stand where
  // its vectors still went on, and all is well from there.
  bool leaveAllInside(std::size_t message) const {
    if (msrp()) return false;
    const std::size_t first = message + kVlanMessageHeader;
    for (std::size_t mark = first + kLeastVlanVector; has(mark, kEndMark + 6); ++mark) {
      const std::size_t next = mark + kEndMark;
      if (endMarkAt(mark) && messageAt(next) && octets_[next + 2] >> 5 == kLeaveAll &&
          u16(next + 4) == 0 && vectorsCover(first, mark) && from(next) != Soundness::broken) {
        return true;
      }
    }
    return false;
  }

  // Whether vectors with values lie from `at` to `mark`, the last of them cut off there.
  bool vectorsCover(std::size_t at, std::size_t mark) const {
    while (at + 2 <= mark) {
      const std::size_t n = u16(at) & 0x1fff;
      if (u16(at) >> 13 > kLeaveAll || u16(at) == 0) return false;
      at += 4 + (n + 2) / 3;
    }
    return at != mark;
  }

  MrpApplication application_;
  Octets octets_;
};

}  // namespace

Soundness soundnessOf(const Protocol& protocol, Octets frame) {
  if (frame.size() < kFrameHeader + kEndMark || frame.size() > kLongestFrame) {
    return Soundness::broken;
  }
  const bool header = number(frame.first(6)) == protocol.address &&
                      number(frame.subspan(12, 2)) == protocol.etype && frame[14] == 0;
  if (!header) return Soundness::broken;
  return Pdu(protocol.application, frame.subspan(kFrameHeader)).from(0);
}

}  // namespace Fuzz

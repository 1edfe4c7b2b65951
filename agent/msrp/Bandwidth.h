#pragma once

#include <array>
#include <cstdint>

#include "agent/msrp/FailureCode.h"
#include "agent/msrp/StreamForwarding.h"
#include "mrp/MrpMsrp/MsrpValues.h"

namespace Mrp {

// Octets on the medium beside the payload of each frame, see bandwidthNeeded.
inline constexpr std::uint32_t kFrameOverhead = 43;
// Payload of the shortest tagged frame, to which shorter ones are padded.
inline constexpr std::uint32_t kMinPayload = 42;

// What a stream takes of a port (IEEE 802.1Q-2018 34.4): MaxFrameSize is payload alone, `overhead`
// what preamble, header, tag, CRC and gap add, and an octet a frame for the talker's faster clock.
constexpr BitsPerSecond bandwidthNeeded(const Tspec& tSpec, SrClass srClass,
                                        std::uint32_t overhead) {
  const std::uint32_t payload = tSpec.maxFrameSize;
  const std::uint64_t frame = std::uint64_t{payload > kMinPayload ? payload : kMinPayload};
  return (frame + overhead) * 8 * tSpec.maxIntervalFrames * infoOf(srClass).intervalsPerSecond;
}

// What is left on a port for one class, on top of reservations of some importance.
struct Available {
  BitsPerSecond total = 0;    // of all classes together
  BitsPerSecond ofClass = 0;  // of the class, never more than that

  // A need of nothing always fits.
  bool fits(BitsPerSecond need) const { return need <= ofClass; }
  // Which limit a need exceeds. The total comes first: where it is exceeded no other class helps.
  FailureCode excess(BitsPerSecond need) const {
    if (need > total) return FailureCode::bandwidth;
    return need > ofClass ? FailureCode::classBandwidth : FailureCode::none;
  }
  friend bool operator==(const Available&, const Available&) = default;
};

// Reservations of one port, summed by rank and class, and the limits they are held against (34.3).
// A class may use what the classes above it leave of theirs.
class PortBandwidth {
 public:
  static constexpr std::size_t kRanks = 2;

  void limitsIs(const StreamPort& port);
  void add(std::uint8_t rank, SrClass srClass, BitsPerSecond need) {
    sums_[rank][indexOf(srClass)] += need;
  }
  void remove(std::uint8_t rank, SrClass srClass, BitsPerSecond need) {
    sums_[rank][indexOf(srClass)] -= need;
  }
  void clear() { sums_ = {}; }

  // For a stream of this rank that is not reserved: less important reservations do not count.
  Available available(std::uint8_t rank, SrClass srClass) const;
  bool withinLimits() const;

  BitsPerSecond reserved(SrClass srClass) const {
    return sums_[0][indexOf(srClass)] + sums_[1][indexOf(srClass)];
  }
  BitsPerSecond reserved() const { return reserved(SrClass::a) + reserved(SrClass::b); }
  BitsPerSecond limit(SrClass srClass) const { return limits_[indexOf(srClass)]; }

 private:
  std::array<std::array<BitsPerSecond, kSrClasses>, kRanks> sums_{};
  std::array<BitsPerSecond, kSrClasses> limits_{};  // of a class with all above it
};

}  // namespace Mrp

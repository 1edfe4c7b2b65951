#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mrp/MrpSm/pdu/MrpTxPacketContext.h"
#include "mrp/MrpSm/pdu/MrpduLayout.h"
#include "mrp/types/MrpEnums.h"

// Packed events of a vector (IEEE 802.1Q-2018 10.8.2). A three-packed octet holds three events
// 0..5 as base-6 digits, the first value's event weighing 36; a four-packed octet holds four
// listener events 0..3, the first in the two highest bits. Unused places are 0.
namespace Mrp {

// NumberOfValues is the low part of the header, so counting up leaves LeaveAll alone.
inline void countOneMoreValue(std::uint8_t* vector) {
  writeU16(vector, static_cast<std::uint16_t>(readU16(vector) + 1));
}

// What an event weighs in its place of an octet; and an octet without the event in a place.
inline constexpr std::array<std::uint8_t, 3> kPlaceValue{36, 6, 1};
inline constexpr auto kOtherEvents = [] {
  std::array<std::array<std::uint8_t, 256>, 3> others{};
  for (unsigned octet = 0; octet < 256; ++octet) {
    others[0][octet] = static_cast<std::uint8_t>(octet % 36);
    others[1][octet] = static_cast<std::uint8_t>(octet / 36 * 36 + octet % 6);
    others[2][octet] = static_cast<std::uint8_t>(octet / 6 * 6);
  }
  return others;
}();

// Writes the event of value `n`, counted from 1, and keeps the other events of its octet.
inline void mrpEncodeThreePackedEvent(std::uint8_t* eventsStart, std::uint8_t event, unsigned n) {
  std::uint8_t& packed = eventsStart[(n - 1) / 3];
  const unsigned place = (n - 1) % 3;
  packed = static_cast<std::uint8_t>(kOtherEvents[place][packed] + event * kPlaceValue[place]);
}
void mrpEncodeFourPackedEvent(std::uint8_t* eventsStart, MsrpListenerEvent event, unsigned n);

// Calls `visit(event, index)` for the first `n` events packed three to an octet, index from 0.
template <class Visit>
void forEachThreePacked(const std::uint8_t* octets, std::uint32_t n, Visit visit) {
  for (std::uint32_t index = 0; index < n;) {
    const unsigned octet = *octets++;
    const std::uint8_t events[] = {static_cast<std::uint8_t>(octet / 36),
                                   static_cast<std::uint8_t>(octet / 6 % 6),
                                   static_cast<std::uint8_t>(octet % 6)};
    for (std::size_t i = 0; i < 3 && index < n; ++i, ++index) visit(events[i], index);
  }
}
// The event of value `index`, from 0, of those packed four to an octet.
inline MsrpListenerEvent fourPackedEvent(const std::uint8_t* octets, std::uint32_t index) {
  return static_cast<MsrpListenerEvent>(octets[index / 4] >> (6 - 2 * (index % 4)) & 3);
}

// Append one value to the current vector: its event (and a listener's event) is packed and
// NumberOfValues grows by one, LeaveAll stays as it is. An octet that is opened is cleared first.
// The result is the number of octets by which the vector grew. `n` is NumberOfValues so far.
inline std::size_t packThreePackedEvent(std::uint8_t* vector, std::size_t firstValueSize,
                                        std::uint8_t event, unsigned n) {
  std::uint8_t& packed = vector[kVectorHeaderSize + firstValueSize + n / 3];
  countOneMoreValue(vector);
  const unsigned place = n % 3;
  const unsigned others = place == 0 ? 0u : kOtherEvents[place][packed];
  packed = static_cast<std::uint8_t>(others + event * kPlaceValue[place]);
  return place == 0;
}
inline std::size_t mrpPackThreePackedEvent(MrpTxPacketContext& context, std::uint8_t attributeType,
                                           std::uint8_t event, MrpApplication application) {
  std::uint8_t* vector = context.vectorData();
  return packThreePackedEvent(vector, attributeLength(application, attributeType), event,
                              mrpGetNumOfValues(vector));
}
// For a listener vector: the four-packed octets follow the three-packed ones without a gap, and
// move up when those grow.
std::size_t mrpPackThreeAndFourPackedEvent(MrpTxPacketContext& context, std::uint8_t event,
                                           MsrpListenerEvent listenerEvent);

}  // namespace Mrp

#include "mrp/MrpSm/tx/EventPacking.h"

#include <cstring>

#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Mrp {
namespace {

// NumberOfValues is the low part of the header, so counting up leaves LeaveAll alone.
void countOneMoreValue(std::uint8_t* vector) {
  writeU16(vector, static_cast<std::uint16_t>(readU16(vector) + 1));
}

}  // namespace

// Division by a constant is a multiplication, hence one arm for each place.
void mrpEncodeThreePackedEvent(std::uint8_t* eventsStart, std::uint8_t event, unsigned n) {
  std::uint8_t& packed = eventsStart[(n - 1) / 3];
  const unsigned old = packed;
  switch ((n - 1) % 3) {
    case 0:
      packed = static_cast<std::uint8_t>(event * 36u + old % 36);
      break;
    case 1:
      packed = static_cast<std::uint8_t>(old / 36 * 36 + event * 6u + old % 6);
      break;
    case 2:
      packed = static_cast<std::uint8_t>(old / 6 * 6 + event);
      break;
  }
}

void mrpEncodeFourPackedEvent(std::uint8_t* eventsStart, MsrpListenerEvent event, unsigned n) {
  std::uint8_t& packed = eventsStart[(n - 1) / 4];
  const unsigned shift = 6 - (n - 1) % 4 * 2;
  const unsigned bits = static_cast<unsigned>(event) & 3;
  packed = static_cast<std::uint8_t>((packed & ~(3u << shift)) | bits << shift);
}

std::size_t mrpPackThreePackedEvent(MrpTxPacketContext& context, std::uint8_t attributeType,
                                    std::uint8_t event, MrpApplication application) {
  std::uint8_t* vector = context.vectorData();
  std::uint8_t* events = vector + kVectorHeaderSize + attributeLength(application, attributeType);
  const unsigned n = mrpGetNumOfValues(vector);
  const bool opens = n % 3 == 0;
  if (opens) events[n / 3] = 0;
  mrpEncodeThreePackedEvent(events, event, n + 1);
  countOneMoreValue(vector);
  return opens ? 1 : 0;
}

std::size_t mrpPackThreeAndFourPackedEvent(MrpTxPacketContext& context, std::uint8_t event,
                                           MsrpListenerEvent listenerEvent) {
  constexpr std::size_t kStreamIdSize = 8;
  std::uint8_t* vector = context.vectorData();
  std::uint8_t* threePacked = vector + kVectorHeaderSize + kStreamIdSize;
  const unsigned n = mrpGetNumOfValues(vector);
  const bool opensThree = n % 3 == 0;
  const bool opensFour = n % 4 == 0;

  std::uint8_t* fourPacked = threePacked + (n + 2) / 3;
  if (opensFour) fourPacked[n / 4] = 0;
  mrpEncodeFourPackedEvent(fourPacked, listenerEvent, n + 1);

  if (opensThree) {
    std::memmove(fourPacked + 1, fourPacked, n / 4 + 1);
    *fourPacked = 0;
  }
  mrpEncodeThreePackedEvent(threePacked, event, n + 1);
  countOneMoreValue(vector);
  return (opensFour ? 1u : 0u) + (opensThree ? 1u : 0u);
}

}  // namespace Mrp

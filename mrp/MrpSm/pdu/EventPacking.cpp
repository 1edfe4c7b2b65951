#include "mrp/MrpSm/pdu/EventPacking.h"

#include <cstring>

namespace Mrp {
void mrpEncodeFourPackedEvent(std::uint8_t* eventsStart, MsrpListenerEvent event, unsigned n) {
  std::uint8_t& packed = eventsStart[(n - 1) / 4];
  const unsigned shift = 6 - (n - 1) % 4 * 2;
  const unsigned bits = static_cast<unsigned>(event) & 3;
  packed = static_cast<std::uint8_t>((packed & ~(3u << shift)) | bits << shift);
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

#include "cli/replay/MrpduText.h"

#include "cli/replay/ValueText.h"
#include "mrp/types/MrpEnums.h"
#include "platform/packet/EthFrame.h"

namespace Cli {
namespace {

using Mrp::MrpApplication;

// Thrown inside this file when the frame ends too early or says what cannot be.
struct Garbled {
  std::string why;
};

class Cursor {
 public:
  explicit Cursor(OctetSpan octets) : octets_(octets) {}

  std::size_t left() const { return octets_.size(); }
  OctetSpan take(std::size_t n) {
    if (n > octets_.size()) throw Garbled{"cut off"};
    const OctetSpan taken = octets_.first(n);
    octets_ = octets_.subspan(n);
    return taken;
  }
  std::uint64_t number(std::size_t size) { return numberAt(take(size), 0, size); }
  // Takes two octets when they are an end mark.
  bool endMark() {
    if (left() < 2 || numberAt(octets_, 0, 2) != 0) return false;
    take(2);
    return true;
  }

 private:
  OctetSpan octets_;
};

constexpr std::uint64_t kLeaveAll = 1;
constexpr unsigned kValueBits = 13;

// The `n`-th event, from 0, of octets that pack `perOctet` events to a base.
unsigned packedEvent(OctetSpan octets, std::size_t n, std::size_t perOctet, unsigned base) {
  unsigned octet = octets[n / perOctet];
  for (std::size_t i = n % perOctet + 1; i < perOctet; ++i) octet /= base;
  // The first event of an octet has no upper neighbour; a bad octet shows as a number.
  return n % perOctet == 0 ? octet : octet % base;
}

std::string vectorText(Cursor& cursor, MrpApplication application, std::uint8_t type,
                       std::size_t length) {
  const std::uint64_t header = cursor.number(2);
  const std::size_t values = header & ((1u << kValueBits) - 1);
  const bool listener = application == MrpApplication::msrp && type == 3;
  const OctetSpan firstValue = cursor.take(length);
  const OctetSpan threePacked = cursor.take((values + 2) / 3);
  const OctetSpan fourPacked = listener ? cursor.take((values + 3) / 4) : OctetSpan();

  std::string text = typeName(application, type) + ":";
  if (header >> kValueBits == kLeaveAll) text += " LeaveAll";
  if (header >> kValueBits > kLeaveAll) {
    text += " LeaveAllEvent " + std::to_string(header >> kValueBits);
  }
  if (values == 0) return text;
  if (text.back() != ':') text += ",";
  if (values > 1) text += " " + std::to_string(values) + " values from";
  text += " " + valueText(application, type, firstValue) + ":";
  for (std::size_t n = 0; n < values; ++n) {
    text += " " + eventText(static_cast<std::uint8_t>(packedEvent(threePacked, n, 3, 6)));
    if (!listener) continue;
    const unsigned event = packedEvent(fourPacked, n, 4, 4);
    text += "/";
    text += Mrp::stringValue(Mrp::MsrpListenerEvent{static_cast<std::uint8_t>(event)});
  }
  return text;
}

void messageText(Cursor& pdu, MrpApplication application, std::vector<std::string>& lines) {
  const auto type = static_cast<std::uint8_t>(pdu.number(1));
  const std::size_t length = pdu.number(1);
  if (application == MrpApplication::mvrp) {
    while (!pdu.endMark()) lines.push_back(vectorText(pdu, application, type, length));
    return;
  }
  Cursor list(pdu.take(pdu.number(2)));
  while (!list.endMark()) lines.push_back(vectorText(list, application, type, length));
}

}  // namespace

std::vector<std::string> mrpduText(OctetSpan frame) {
  std::vector<std::string> lines;
  const auto offset = Platform::EthFrame::etherTypeOffset(frame);
  const auto application = applicationOf(frame);
  if (!offset || !application) return {"not an MRPDU"};
  Cursor pdu(frame.subspan(*offset + 2));
  try {
    const std::uint64_t version = pdu.number(1);
    if (version != 0) lines.push_back("ProtocolVersion " + std::to_string(version));
    while (pdu.left() != 0 && !pdu.endMark()) messageText(pdu, *application, lines);
  } catch (const Garbled& garbled) {
    lines.push_back("(" + garbled.why + ")");
  }
  return lines;
}

}  // namespace Cli

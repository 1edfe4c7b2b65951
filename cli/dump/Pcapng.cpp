#include "cli/dump/Pcapng.h"

#include "cli/BadInput.h"
#include "cli/replay/TextFile.h"

namespace Cli {
namespace {

constexpr std::uint32_t kSection = 0x0A0D0D0A;
constexpr std::uint32_t kByteOrder = 0x1A2B3C4D;
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kPacket = 6;
constexpr std::uint16_t kEthernet = 1;
// Options.
constexpr std::uint16_t kEnd = 0;
constexpr std::uint16_t kComment = 1;
constexpr std::uint16_t kUserApplication = 4;
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kTimeResolution = 9;
constexpr std::uint16_t kFlags = 2;
constexpr std::uint32_t kInbound = 1;
constexpr std::uint32_t kOutbound = 2;
constexpr char kNanoseconds = 9;
constexpr std::uint32_t kSnapLength = 0x40000;

void put(std::string& to, std::uint64_t number, std::size_t octets) {
  for (; octets > 0; --octets, number >>= 8) to += static_cast<char>(number & 0xFF);
}
void pad(std::string& to) { to.resize((to.size() + 3) & ~std::size_t{3}, '\0'); }
void option(std::string& to, std::uint16_t code, const std::string& value) {
  put(to, code, 2);
  put(to, value.size(), 2);
  to += value;
  pad(to);
}

// Bounds-checked reading of one file.
class Octets32 {
 public:
  Octets32(const std::string& path, std::string_view octets) : path_(path), octets_(octets) {}

  bool empty() const { return octets_.empty(); }
  std::size_t size() const { return octets_.size(); }
  std::uint64_t number(std::size_t octets) {
    const std::string_view text = take(octets);
    std::uint64_t number = 0;
    for (std::size_t i = octets; i-- > 0;) {
      number = number << 8 | static_cast<unsigned char>(text[i]);
    }
    return number;
  }
  std::string_view take(std::size_t octets) {
    if (octets > octets_.size()) refuse("ends in the middle of a block");
    const std::string_view taken = octets_.substr(0, octets);
    octets_.remove_prefix(octets);
    return taken;
  }
  [[noreturn]] void refuse(const std::string& why) const {
    throw BadInput(path_, "no frames of a dump: " + why);
  }

 private:
  const std::string& path_;
  std::string_view octets_;
};

// The value of an option; empty when it is not there.
std::string_view optionOf(Octets32 body, std::uint16_t wanted) {
  while (body.size() >= 4) {
    const auto code = static_cast<std::uint16_t>(body.number(2));
    const auto length = static_cast<std::size_t>(body.number(2));
    if (code == kEnd) break;
    const std::string_view value = body.take(length);
    body.take((4 - length % 4) % 4);
    if (code == wanted) return value;
  }
  return {};
}

}  // namespace

PcapngWriter::PcapngWriter(std::ostream& out, const std::string& program,
                           const std::string& comment)
    : out_(out) {
  std::string body;
  put(body, kByteOrder, 4);
  put(body, 1, 2);
  put(body, 0, 2);
  put(body, ~std::uint64_t{0}, 8);  // length of the section: not told
  option(body, kComment, comment);
  option(body, kUserApplication, program);
  put(body, kEnd, 4);
  block(kSection, body);
}

void PcapngWriter::block(std::uint32_t type, const std::string& body) {
  constexpr std::size_t kAround = 12;
  std::string text;
  put(text, type, 4);
  put(text, body.size() + kAround, 4);
  text += body;
  put(text, body.size() + kAround, 4);
  out_ << text;
}

std::uint32_t PcapngWriter::interfaceOf(const std::string& port) {
  const auto [it, isNew] =
      interfaces_.try_emplace(port, static_cast<std::uint32_t>(interfaces_.size()));
  if (!isNew) return it->second;
  std::string body;
  put(body, kEthernet, 2);
  put(body, 0, 2);
  put(body, kSnapLength, 4);
  option(body, kInterfaceName, port);
  option(body, kTimeResolution, std::string(1, kNanoseconds));
  put(body, kEnd, 4);
  block(kInterface, body);
  return it->second;
}

void PcapngWriter::frame(const DumpedFrame& frame) {
  std::string body;
  put(body, interfaceOf(frame.port), 4);
  const auto at = static_cast<std::uint64_t>(frame.at);
  put(body, at >> 32, 4);
  put(body, at & 0xFFFFFFFF, 4);
  put(body, frame.octets.size(), 4);
  put(body, frame.octets.size(), 4);
  body.append(frame.octets.begin(), frame.octets.end());
  pad(body);
  std::string flags;
  put(flags, frame.received ? kInbound : kOutbound, 4);
  option(body, kFlags, flags);
  put(body, kEnd, 4);
  block(kPacket, body);
}

std::vector<DumpedFrame> readPcapng(const std::string& path) {
  const std::string text = readTextFile(path);
  Octets32 file(path, text);
  std::vector<DumpedFrame> frames;
  std::vector<std::string> ports;
  bool first = true;
  while (!file.empty()) {
    const std::uint64_t type = file.number(4);
    const std::uint64_t length = file.number(4);
    constexpr std::uint64_t kAround = 12;
    if (length < kAround || length % 4 != 0) file.refuse("a block has no length");
    Octets32 body(path, file.take(static_cast<std::size_t>(length - kAround)));
    file.take(4);
    if (std::exchange(first, false) && type != kSection) file.refuse("it is no pcapng file");
    if (type == kSection) {
      if (body.number(4) != kByteOrder) file.refuse("it is of another byte order");
    } else if (type == kInterface) {
      if (body.number(2) != kEthernet) file.refuse("an interface is no Ethernet");
      body.take(6);
      const std::string_view name = optionOf(body, kInterfaceName);
      const std::string_view resolution = optionOf(body, kTimeResolution);
      if (resolution.empty() || resolution[0] != kNanoseconds) {
        file.refuse("its times are no nanoseconds");
      }
      ports.emplace_back(name.empty() ? "port" + std::to_string(ports.size() + 1)
                                      : std::string(name));
    } else if (type == kPacket) {
      const std::uint64_t port = body.number(4);
      if (port >= ports.size()) file.refuse("a packet of no interface");
      DumpedFrame frame;
      frame.port = ports[static_cast<std::size_t>(port)];
      const std::uint64_t high = body.number(4);
      frame.at = static_cast<std::int64_t>(high << 32 | body.number(4));
      const auto captured = static_cast<std::size_t>(body.number(4));
      body.number(4);
      const std::string_view octets = body.take(captured);
      body.take((4 - captured % 4) % 4);
      frame.octets.assign(octets.begin(), octets.end());
      const std::string_view flags = optionOf(body, kFlags);
      frame.received = flags.empty() || (static_cast<unsigned char>(flags[0]) & 3) != kOutbound;
      frames.push_back(std::move(frame));
    }
  }
  return frames;
}

}  // namespace Cli

#include "cli/replay/Application.h"

#include <array>

#include "platform/packet/EthFrame.h"

namespace Cli {
namespace {

using Mrp::MrpApplication;
using Platform::EthAddr;

constexpr std::array kApplications{
    ApplicationInfo{MrpApplication::msrp, "msrp", "MSRP", EthAddr::fromNumber(0x0180c200000e),
                    0x22ea, 4},
    ApplicationInfo{MrpApplication::mvrp, "mvrp", "MVRP", EthAddr::fromNumber(0x0180c2000021),
                    0x88f5, 1},
};
constexpr std::array<const char*, 5> kMsrpTypes{"", "talker advertise", "talker failed", "listener",
                                                "domain"};

}  // namespace

const ApplicationInfo& infoOf(MrpApplication application) {
  return kApplications[application == MrpApplication::msrp ? 0 : 1];
}

std::optional<MrpApplication> applicationNamed(std::string_view name) {
  for (const ApplicationInfo& info : kApplications) {
    if (info.name == name) return info.id;
  }
  return std::nullopt;
}

std::optional<MrpApplication> applicationOf(OctetSpan frame) {
  const auto offset = Platform::EthFrame::etherTypeOffset(frame);
  if (!offset) return std::nullopt;
  for (const ApplicationInfo& info : kApplications) {
    if (Platform::EthFrame::u16(frame, *offset) == info.etherType) return info.id;
  }
  return std::nullopt;
}

std::string typeName(MrpApplication application, std::uint8_t type) {
  if (type == 0 || type > infoOf(application).types) return "type " + std::to_string(type);
  return application == MrpApplication::msrp ? kMsrpTypes[type] : "VLAN";
}

std::uint64_t numberAt(OctetSpan octets, std::size_t offset, std::size_t size) {
  std::uint64_t number = 0;
  for (const std::uint8_t octet : octets.subspan(offset, size)) number = number << 8 | octet;
  return number;
}

}  // namespace Cli

#include "cli/replay/Application.h"

#include "platform/packet/EthFrame.h"

namespace Cli {

using Mrp::MrpApplication;

std::optional<MrpApplication> applicationNamed(std::string_view name) {
  for (const ApplicationInfo& info : Mrp::kApplications) {
    if (info.name == name) return info.application;
  }
  return std::nullopt;
}

std::optional<MrpApplication> applicationOf(OctetSpan frame) {
  const auto offset = Platform::EthFrame::etherTypeOffset(frame);
  if (!offset) return std::nullopt;
  for (const ApplicationInfo& info : Mrp::kApplications) {
    if (Platform::EthFrame::u16(frame, *offset) == info.etherType) return info.application;
  }
  return std::nullopt;
}

std::string typeName(MrpApplication application, std::uint8_t type) {
  const Mrp::AttributeTypeInfo* info = infoOf(application).type(type);
  return info ? info->name : "type " + std::to_string(type);
}

std::uint64_t numberAt(OctetSpan octets, std::size_t offset, std::size_t size) {
  std::uint64_t number = 0;
  for (const std::uint8_t octet : octets.subspan(offset, size)) number = number << 8 | octet;
  return number;
}

}  // namespace Cli

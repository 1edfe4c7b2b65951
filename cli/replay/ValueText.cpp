#include "cli/replay/ValueText.h"

#include <array>
#include <cstdio>

#include "cli/replay/ValueFields.h"
#include "platform/host/JsonDump.h"

namespace Cli {
namespace {

using Mrp::MrpApplication;

template <class... Arguments>
std::string format(const char* form, Arguments... arguments) {
  std::array<char, 160> text{};
  std::snprintf(text.data(), text.size(), form, arguments...);
  return text.data();
}

// The named field of a value of full size.
unsigned long long field(OctetSpan value, std::uint8_t type, std::string_view name) {
  for (const ValueField& f : fieldsOf(MrpApplication::msrp, type)) {
    if (f.name == name) return fieldOf(f, value);
  }
  return 0;
}

std::string className(std::uint64_t id) {
  // IEEE 802.1Q-2018 table 35-7.
  if (id == 6) return "class A";
  if (id == 5) return "class B";
  return "class " + std::to_string(id);
}

std::string bridgeText(std::uint64_t bridgeId) {
  return format("%04llx.%s", static_cast<unsigned long long>(bridgeId >> 48),
                Platform::EthAddr::fromNumber(bridgeId).stringValue().c_str());
}

std::string talkerText(std::uint8_t type, OctetSpan value) {
  const auto get = [&](std::string_view name) { return field(value, type, name); };
  std::string text = streamText(get("streamId"));
  text += " to " + Platform::EthAddr::fromNumber(get("dmac")).stringValue();
  text += format(", VLAN %llu, %llu x %llu octets, priority %llu, rank %llu, %llu ns",
                 get("vlanId"), get("maxIntervalFrames"), get("maxFrameSize"), get("priority"),
                 get("rank"), get("accumulatedLatency"));
  if (type == 2) {
    text += format(", failed with code %llu at ", get("failureCode")) + bridgeText(get("bridgeId"));
  }
  return text;
}

std::string listenerText(OctetSpan value) {
  const auto event = field(value, 3, "listenerEvent");
  return streamText(field(value, 3, "streamId")) + " " +
         Mrp::stringValue(Mrp::MsrpListenerEvent{static_cast<std::uint8_t>(event)});
}

std::string domainText(OctetSpan value) {
  return className(field(value, 4, "srClassId")) + format(", priority %llu, VLAN %llu",
                                                          field(value, 4, "srClassPriority"),
                                                          field(value, 4, "srClassVID"));
}

}  // namespace

std::string streamText(std::uint64_t streamId) {
  return Platform::EthAddr::fromNumber(streamId >> 16).stringValue() +
         format(":%04llx", static_cast<unsigned long long>(streamId & 0xffff));
}

std::string valueText(MrpApplication application, std::uint8_t type, OctetSpan value) {
  constexpr std::size_t kStreamId = 8;
  if (application == MrpApplication::msrp && type == 3 && value.size() == kStreamId) {
    return streamText(numberAt(value, 0, kStreamId));
  }
  if (type == 0 || type > infoOf(application).types.size() ||
      value.size() != valueSize(application, type)) {
    return Platform::Host::hexText(value);
  }
  if (application == MrpApplication::mvrp) return std::to_string(numberAt(value, 0, 2));
  switch (type) {
    case 3:
      return listenerText(value);
    case 4:
      return domainText(value);
    default:
      return talkerText(type, value);
  }
}

std::string eventText(std::uint8_t event) {
  constexpr std::array<const char*, 6> kNames{"New", "JoinIn", "In", "JoinMt", "Mt", "Lv"};
  return event < kNames.size() ? kNames[event] : std::to_string(event);
}

std::string timeText(Platform::Seconds time) {
  const std::int64_t ns = time.nanoseconds();
  const auto whole = static_cast<long long>(ns / 1'000'000'000);
  const auto rest = static_cast<long long>(ns % 1'000'000'000);
  return rest % 1000 == 0 ? format("%lld.%06lld", whole, rest / 1000)
                          : format("%lld.%09lld", whole, rest);
}

}  // namespace Cli

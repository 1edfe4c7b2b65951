// Methods that say why, and what has been recorded.

#include <pwd.h>

#include <array>
#include <chrono>
#include <ctime>

#include "agent/daemon/Methods.h"
#include "agent/daemon/Version.h"
#include "agent/daemon/WhyJson.h"
#include "agent/daemon/config/ConfigText.h"
#include "platform/host/JsonDump.h"

namespace Daemon {
namespace {

using Rpc::Error;
using Rpc::Json;
using namespace Mrp::Accounts;

// What a reply holds at most, so that it fits what a client may leave unread.
constexpr std::size_t kRecordsAtOnce = 1000;
constexpr std::size_t kOctetsAtOnce = std::size_t{128} << 10;

// When the engine's clock was 0, in nanoseconds since 1970.
std::int64_t clockOrigin(const Agent& agent) {
  const auto wall = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(wall).count() -
         agent.now().nanoseconds();
}

// As the clock on the wall: "23:05:12.600", with the date when that is not today's.
std::string wallText(std::int64_t origin, Platform::Seconds time) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const std::int64_t ns = origin + time.nanoseconds();
  const std::time_t seconds = static_cast<std::time_t>(ns / kSecond);
  const std::time_t now = std::time(nullptr);
  std::tm at{};
  std::tm today{};
  ::localtime_r(&seconds, &at);
  ::localtime_r(&now, &today);
  const bool sameDay = at.tm_year == today.tm_year && at.tm_yday == today.tm_yday;
  std::array<char, 40> text{};
  const std::size_t size =
      std::strftime(text.data(), text.size(), sameDay ? "%H:%M:%S" : "%F %H:%M:%S", &at);
  std::array<char, 8> millis{};
  std::snprintf(millis.data(), millis.size(), ".%03d", static_cast<int>(ns % kSecond / 1'000'000));
  return std::string(text.data(), size) + millis.data();
}

std::string userName(std::uint32_t user) {
  const passwd* entry = ::getpwuid(user);
  return entry ? entry->pw_name : "user " + std::to_string(user);
}

Mrp::Why::Sources sourcesOf(const Agent& agent, const Instance& instance) {
  Mrp::Why::Sources sources{
      .account = instance.account(), .engine = instance.engine(), .ports = {}};
  for (const auto& [intf, port] : agent.ports()) {
    if (instance.portHas(intf)) sources.ports.push_back(intf);
  }
  sources.registration = [&agent](IntfId intf, std::uint16_t vlan) {
    const RegistrationSets sets = agent.registrations(intf.name());
    if (sets.fixed.has(vlan)) return Mrp::Registration::fixed;
    return sets.forbidden.has(vlan) ? Mrp::Registration::forbidden : Mrp::Registration::normal;
  };
  sources.streams = instance.app().streams();
  sources.clock = [origin = clockOrigin(agent)](Platform::Seconds time) {
    return wallText(origin, time);
  };
  sources.userName = userName;
  return sources;
}

std::uint64_t streamOf(const std::string& text) {
  constexpr std::size_t kDigits = 16;
  if (text.size() != kDigits ||
      text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw Error::params("\"stream\" is a text of 16 hexadecimal digits");
  }
  return std::stoull(text, nullptr, 16);
}

Json recordJson(const Account& account, const Record& r) {
  const IntfId intf = account.port(r);
  return {{"number", r.number},
          {"time", r.at().value()},
          {"kind", stringValue(r.kind)},
          {"port", intf.empty() ? Json() : Json(intf.name())},
          {"type", r.type},
          {"key", std::to_string(r.key)},
          {"event", r.event},
          {"from", r.from()},
          {"to", r.to()},
          {"detail", std::to_string(r.detail)},
          {"cause", r.cause() == 0 ? Json() : Json(r.cause())}};
}

}  // namespace

Json callWhy(const Call& call) {
  const Params& params = call.params;
  const std::string name = params.port();
  const IntfId port = name.empty() ? IntfId() : IntfId(name);
  if (int(params.has("vlan")) + int(params.has("stream")) + int(params.has("class")) != 1) {
    throw Error::params("one of \"vlan\", \"stream\" and \"class\" is needed");
  }
  const bool vlan = params.has("vlan");
  const Instance& instance =
      params.instanceOf(vlan ? Mrp::MrpApplication::mvrp : Mrp::MrpApplication::msrp);
  const Mrp::Why::Sources sources = sourcesOf(call.agent(), instance);
  if (vlan) {
    const auto number = static_cast<std::uint16_t>(params.neededNumber("vlan", 0, 4095));
    return whyJson(sources, whyVlan(sources, number, port));
  }
  if (params.has("stream")) {
    return whyJson(sources, whyStream(sources, streamOf(params.neededText("stream")), port));
  }
  if (name.empty()) throw Error::params("\"port\" is needed with \"class\"");
  const auto srClass = static_cast<std::uint8_t>(params.neededNumber("class", 0, 255));
  return whyJson(sources, whyDomain(sources, srClass, port));
}

// From a record on, or from the oldest that is there.
Json callAccount(const Call& call) {
  const Account& account = call.params.neededInstance().account();
  const auto from = static_cast<Number>(call.params.number("from", 0, INT64_MAX).value_or(0));
  Json records = Json::array();
  Number n = std::max(account.first(), from);
  for (; n <= account.last() && records.size() < kRecordsAtOnce; ++n) {
    records.push_back(recordJson(account, *account.record(n)));
  }
  return {{"first", account.first()},
          {"last", account.last()},
          {"capacity", account.capacity()},
          {"records", std::move(records)},
          {"next", n <= account.last() ? Json(n) : Json()}};
}

// Frames in the order in which they came and went, of all applications.
Json callFrames(const Call& call) {
  const FrameRing& ring = call.agent().frames();
  const auto from =
      static_cast<std::uint64_t>(call.params.number("from", 0, INT64_MAX).value_or(0));
  const std::int64_t origin = clockOrigin(call.agent());
  Json frames = Json::array();
  Json next;
  std::size_t octets = 0;
  ring.walk(from, [&](const FrameRing::Frame& frame) {
    if (octets > kOctetsAtOnce) {
      next = frame.number;
      return false;
    }
    octets += frame.octets.size() + sizeof frame;
    frames.push_back({{"number", frame.number},
                      {"time", frame.time.value()},
                      {"wall", origin + frame.time.nanoseconds()},
                      {"port", frame.intf.name()},
                      {"received", frame.received},
                      {"application", Mrp::applicationInfo(frame.application).name},
                      {"hex", Platform::Host::hexText(frame.octets)}});
    return true;
  });
  return {{"octets", ring.octets()}, {"frames", std::move(frames)}, {"next", std::move(next)}};
}

Json callConfiguration(const Call& call) {
  return {{"version", kVersion},
          {"mode", call.agent().config().mode},
          {"toml", configText(call.agent().config(), Settings::changed)}};
}

}  // namespace Daemon

#include "agent/daemon/WhyJson.h"

namespace Daemon {
namespace {

using Mrp::Accounts::kNobody;
using Mrp::Why::Answer;
using Mrp::Why::Sources;
using Platform::IntfId;
using Rpc::Json;

Json portJson(IntfId intf) { return intf.empty() ? Json() : Json(intf.name()); }
Json textJson(const std::string& text) { return text.empty() ? Json() : Json(text); }

const char* nameOf(Mrp::Accounts::By by) {
  using enum Mrp::Accounts::By;
  switch (by) {
    case application:
      return "application";
    case configuration:
      return "configuration";
    case command:
      return "command";
    case scenario:
      return "scenario";
  }
  return "unknown";
}

const char* nameOf(Mrp::Accounts::Reader::Ending ending) {
  using enum Mrp::Accounts::Reader::Ending;
  switch (ending) {
    case firstCause:
      return "first-cause";
    case overwritten:
      return "overwritten";
    case untold:
      return "untold";
  }
  return "unknown";
}

Json stepJson(const Sources& sources, const Mrp::Why::Step& step) {
  return {{"record", step.record},
          {"time", step.time.value()},
          {"clock", sources.clockText(step.time)},
          {"port", portJson(step.port)},
          {"text", step.text},
          {"frame", step.frame == 0 ? Json() : Json(step.frame)},
          {"source", step.source ? Json(step.source->stringValue()) : Json()},
          {"by", step.by ? Json(nameOf(*step.by)) : Json()},
          {"user", step.user == kNobody ? Json() : Json(step.user)},
          {"place", step.place == kNobody ? Json() : Json(step.place)}};
}

Json answerJson(const Sources& sources, const Answer& answer) {
  Json because = Json::array();
  for (const auto& step : answer.because) because.push_back(stepJson(sources, step));
  Json next = Json::array();
  for (const auto& coming : answer.next) {
    const bool timed = coming.time != Platform::Seconds::never();
    next.push_back({{"time", timed ? Json(coming.time.value()) : Json()},
                    {"clock", timed ? Json(sources.clockText(coming.time)) : Json()},
                    {"text", coming.text}});
  }
  Json checks = Json::array();
  for (const auto& check : answer.checks) {
    checks.push_back({{"name", check.name},
                      {"passed", check.passed},
                      {"code", check.passed ? Json() : Json(check.code)},
                      {"numbers", textJson(check.numbers)}});
  }
  return {{"about", answer.about},
          {"subject", answer.subject},
          {"port", portJson(answer.port)},
          {"known", answer.known},
          {"state", answer.state},
          {"cause", answer.cause},
          {"because", std::move(because)},
          {"ending", answer.ending ? Json(nameOf(*answer.ending)) : Json()},
          {"next", std::move(next)},
          {"checks", std::move(checks)},
          {"remedy", textJson(answer.remedy)},
          {"lookedAt", answer.lookedAt}};
}

}  // namespace

Json whyJson(const Sources& sources, const std::vector<Answer>& answers) {
  Json list = Json::array();
  for (const Answer& answer : answers) list.push_back(answerJson(sources, answer));
  const Platform::Seconds now = sources.account.clock().now();
  return {{"now", now.value()}, {"clock", sources.clockText(now)}, {"answers", std::move(list)}};
}

}  // namespace Daemon

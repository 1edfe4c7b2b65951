#include "cli/page/RecordText.h"

#include <array>

#include "agent/msrp/FailureCode.h"
#include "cli/replay/BridgeText.h"
#include "cli/replay/ValueText.h"

namespace Cli {
namespace {

using Mrp::Accounts::By;
using Mrp::Accounts::Kind;
using Mrp::Accounts::Record;

template <std::size_t size>
std::string nameOf(const std::array<const char*, size>& names, std::size_t number) {
  return number < size ? names[number] : std::to_string(number);
}

constexpr std::array kVerbs{"declare",
                            "withdraw",
                            "registration normal",
                            "registration fixed",
                            "registration forbidden",
                            "LeaveAll on request",
                            "remove",
                            "restored from an earlier life"};
constexpr std::array kRoles{"disabled", "root", "designated", "alternate", "backup"};
constexpr std::array kChanges{"added", "removed", "enabled", "disabled", "opened", "closed"};
constexpr std::array kListener{"none", "asking failed", "ready", "ready failed"};
constexpr std::array kTalker{"none", "advertise", "failed"};

std::string byText(const Record& record) {
  std::string text;
  switch (record.by()) {
    case By::application:
      return {};
    case By::configuration:
      return ", by the configuration";
    case By::command:
      text = ", by a command";
      break;
    case By::scenario:
      text = ", by the scenario";
      break;
  }
  if (record.user() != Mrp::Accounts::kNobody) text += " of user " + std::to_string(record.user());
  if (record.place() != Mrp::Accounts::kNobody && record.by() == By::scenario) {
    text += ", line " + std::to_string(record.place());
  }
  return text;
}

std::string attributeText(Mrp::MrpApplication application, const Record& record) {
  if (record.type == 0) return {};
  const Mrp::AttributeTypeInfo* info = infoOf(application).type(record.type);
  const bool isStream = info && info->keys == Mrp::AttributeKeys::sparse;
  return " " + typeName(application, record.type) + " " +
         (isStream ? streamText(record.key) : std::to_string(record.key));
}

std::string decisionText(const RecordSource& records, const Record& record) {
  std::string text = "stream " + streamText(record.key) + ": talker " +
                     nameOf(kTalker, record.from()) + " → " + nameOf(kTalker, record.to());
  if (record.event != 0) {
    text += ", failure code " + std::to_string(record.event);
    if (const char* failure = Mrp::failureText(record.event)) text += std::string(" ") + failure;
  }
  if (record.detail != 0) text += ", needs " + rateText(record.detail);
  const Record* next = records.record(record.number + 1);
  if (next && next->kind == Kind::figures && next->cause() == record.number) {
    text += ", " + rateText(next->key) + " allowed, " + rateText(next->detail) + " in use";
  }
  return text;
}

}  // namespace

std::string recordText(Mrp::MrpApplication application, const RecordSource& records,
                       const Record& record) {
  const bool on = record.event != 0;
  switch (record.kind) {
    case Kind::request:
      return nameOf(kVerbs, record.event) + attributeText(application, record) + byText(record);
    case Kind::role:
      return record.event == Mrp::Accounts::kUntoldRole
                 ? "spanning tree changed the port's role"
                 : "spanning tree: role " + nameOf(kRoles, record.event);
    case Kind::port:
      return "port " + nameOf(kChanges, record.event);
    case Kind::activation:
      return "the engine went to work";
    case Kind::setting:
      if (record.event == static_cast<std::uint8_t>(Mrp::Accounts::Setting::portEnabled)) {
        return (record.key != 0 ? "port enabled" : "port disabled") + byText(record);
      }
      return "configuration changed" + byText(record);
    case Kind::contribution: {
      const std::string port = records.portNumbered(record.detail).name();
      return attributeText(application, record).substr(1) +
             (on ? " is passed on" : " is no longer passed on") +
             (port.empty() ? "" : " from " + port);
    }
    case Kind::propagation:
      return on ? "declared here, since another port has it registered"
                : "withdrawn here, since no other port has it registered";
    case Kind::decision:
      return decisionText(records, record);
    case Kind::figures:
      return rateText(record.key) + " allowed, " + rateText(record.detail) + " in use";
    case Kind::reservation:
      return "stream " + streamText(record.key) + (on ? " reserved" : " no longer reserved");
    case Kind::listener:
      return "stream " + streamText(record.key) + ": listener " + nameOf(kListener, record.event) +
             " to the talker";
    default:
      return stringValue(record.kind);
  }
}

}  // namespace Cli

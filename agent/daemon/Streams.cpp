// Methods that show what MSRP knows.

#include <cstring>
#include <map>

#include "agent/daemon/FailureCodes.h"
#include "agent/daemon/Methods.h"
#include "agent/daemon/Values.h"
#include "agent/daemon/streams/FateJson.h"
#include "agent/msrp/Bandwidth.h"
#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/types/MrpAttrDatabase.h"

namespace Daemon {
namespace {

using Rpc::Json;

constexpr std::uint8_t kAdvertise = 1;
constexpr std::uint8_t kFailed = 2;
constexpr std::uint8_t kListener = 3;
constexpr std::uint8_t kDomain = 4;

// A bridge has classes of its own.
std::vector<SrClass> classesOf(const Agent& agent) {
  if (!agent.config().bridgeMode()) return agent.config().srClasses;
  std::vector<SrClass> classes;
  for (const Mrp::SrClassInfo& c : Mrp::kSrClassTable) {
    classes.push_back({static_cast<std::uint8_t>(c.id), c.priority, c.vid});
  }
  return classes;
}

template <class Value>
Value valueOf(const Mrp::MrpAttrDatabase& record) {
  Value value{};
  if (record.value().size() == sizeof value) {
    std::memcpy(&value, record.value().data(), sizeof value);
  }
  return value;
}

void statesInto(Json& json, const Mrp::MrpAttrDatabase& record) {
  json["applicant"] = stringValue(record.applicantState());
  json["registrar"] = stringValue(record.registrarState());
}

// None where the priority is that of no class whose measurement interval is known.
Json bandwidth(const Agent& agent, const Mrp::MsrpTalkerAdvertiseAttribute& talker) {
  for (const SrClass& c : classesOf(agent)) {
    const auto known = Mrp::srClassNumbered(c.id);
    if (c.priority != talker.priorityAndRank.priority() || !known) continue;
    return Mrp::bandwidthNeeded(talker.tSpec, *known, agent.config().overhead);
  }
  return nullptr;
}

Json talkerJson(const Agent& agent, const Mrp::MrpAttrDatabase& record, bool failed) {
  Mrp::MsrpTalkerFailedAttribute value{};
  if (failed) {
    value = valueOf<Mrp::MsrpTalkerFailedAttribute>(record);
  } else {
    value.talkerAdvertiseAttribute = valueOf<Mrp::MsrpTalkerAdvertiseAttribute>(record);
  }
  const auto& talker = value.talkerAdvertiseAttribute;
  const auto& failure = value.failureInformation;
  Json json{
      {"kind", failed ? "failed" : "advertise"},
      {"dmac", talker.frame.dmac.stringValue()},
      {"vlanId", std::uint16_t{talker.frame.vlanId}},
      {"maxFrameSize", std::uint16_t{talker.tSpec.maxFrameSize}},
      {"maxIntervalFrames", std::uint16_t{talker.tSpec.maxIntervalFrames}},
      {"priority", talker.priorityAndRank.priority()},
      {"rank", talker.priorityAndRank.rank()},
      {"accumulatedLatency", std::uint32_t{talker.accumulatedLatency}},
      {"bandwidth", bandwidth(agent, talker)},
      {"bridgeId", failed ? Json(streamIdText(failure.bridgeId)) : Json()},
      {"failureCode", failed ? Json(failure.failureCode) : Json()},
      {"failure", failed ? Json(failureText(failure.failureCode)) : Json()},
  };
  statesInto(json, record);
  return json;
}

Json listenerJson(const Mrp::MrpAttrDatabase& record) {
  const auto value = valueOf<Mrp::MsrpListenerAttribute>(record);
  Json json{{"event", listenerText(value.listenerEvent())}};
  statesInto(json, record);
  return json;
}

bool inUse(const Mrp::MrpAttrDatabase& record) { return !record.atRest(); }

void streamRows(const Agent& agent, const Instance& msrp, IntfId intf, Json& rows) {
  std::map<std::uint64_t, std::pair<Json, Json>> streams;
  // A failure stands before an advertise of the same stream that is still aging out.
  for (const std::uint8_t type : {kAdvertise, kFailed, kListener}) {
    msrp.engine().walkRecords(intf, type, [&](const Mrp::MrpAttrDatabase& record) {
      auto& [talker, listener] = streams[record.attributeKey()];
      if (type == kListener) {
        listener = listenerJson(record);
      } else if (talker.is_null() || inUse(record)) {
        talker = talkerJson(agent, record, type == kFailed);
      }
    });
  }
  auto fates = fatesJson(agent, intf);
  for (const auto& [key, fate] : fates) streams[key];
  for (auto& [key, stream] : streams) {
    rows.push_back({{"port", intf.name()},
                    {"streamId", streamIdText(key)},
                    {"talker", std::move(stream.first)},
                    {"listener", std::move(stream.second)},
                    {"fate", fates.contains(key) ? std::move(fates[key]) : Json()}});
  }
}

// Ours are those that are declared; a neighbour's is what the record of its class holds.
void domainRows(const Agent& agent, const Instance& msrp, IntfId intf, Json& rows) {
  using Row = std::tuple<std::uint8_t, std::uint8_t, std::uint16_t>;
  std::map<Row, std::pair<bool, bool>> domains;
  for (const SrClass& c : classesOf(agent)) {
    domains[{c.id, c.priority, c.vlan}].first = true;
  }
  msrp.engine().walkRecords(intf, kDomain, [&](const Mrp::MrpAttrDatabase& record) {
    if (record.registrarState() == Mrp::MrpRegistrarState::mt) return;
    const auto value = valueOf<Mrp::MsrpDomainAttribute>(record);
    domains[{value.srClassId, value.srClassPriority, value.srClassVID}].second = true;
  });
  for (const auto& [row, whose] : domains) {
    rows.push_back({{"port", intf.name()},
                    {"srClassId", std::get<0>(row)},
                    {"srClassPriority", std::get<1>(row)},
                    {"srClassVID", std::get<2>(row)},
                    {"ours", whose.first},
                    {"theirs", whose.second}});
  }
}

using Rows = void (*)(const Agent&, const Instance&, IntfId, Json&);

Json rowsOf(const Call& call, Rows rowsOfPort) {
  const std::string only = call.params.port();
  const Instance& msrp = call.params.instanceOf(Mrp::MrpApplication::msrp);
  Json rows = Json::array();
  for (const auto& [intf, port] : call.agent().ports()) {
    if ((!only.empty() && intf.name() != only) || !msrp.portHas(intf)) continue;
    rowsOfPort(call.agent(), msrp, intf, rows);
  }
  return rows;
}

}  // namespace

Json callStreams(const Call& call) { return rowsOf(call, streamRows); }
Json callDomains(const Call& call) { return rowsOf(call, domainRows); }

}  // namespace Daemon

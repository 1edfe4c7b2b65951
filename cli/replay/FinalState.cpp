#include "cli/replay/FinalState.h"

#include <limits>

namespace Cli {
namespace {

using Mrp::MrpAttrDatabase;
using Mrp::MrpIntfTypeApplicant;

MrpAttrDatabase* atOrAbove(MrpIntfTypeApplicant& types, Records records, std::uint64_t key) {
  return records == Records::visible ? types.visibleAtOrAbove(key) : types.anyAtOrAbove(key);
}

template <class Visit>
void walk(MrpIntfTypeApplicant& types, Records records, Visit visit) {
  std::uint64_t from = 0;
  while (const MrpAttrDatabase* record = atOrAbove(types, records, from)) {
    if (records == Records::visible || record->committed()) visit(*record);
    if (record->attributeKey() == std::numeric_limits<std::uint64_t>::max()) return;
    from = record->attributeKey() + 1;
  }
}

// The counters of the state line are a fixed set; refused events are none of it.
constexpr std::string_view kRefusedEvents = "numOfRefusedEvents";

std::vector<std::pair<std::string, std::uint64_t>> countersOf(const Mrp::MrpCounters& counters) {
  std::vector<std::pair<std::string, std::uint64_t>> named;
  const Platform::Described described = counters.describe();
  for (const Platform::AttributeInfo& attribute : described.attributes) {
    if (attribute.name == kRefusedEvents) continue;
    const Platform::Value value = attribute.get(described.object);
    if (const auto* count = value.as<std::uint64_t>()) named.emplace_back(attribute.name, *count);
  }
  return named;
}

std::optional<Platform::Seconds> dueOf(const Mrp::MrpSm& mrpSm, const Mrp::MrpLeaveAllKey& key) {
  if (!mrpSm.leaveAllSm()) return std::nullopt;
  const Mrp::MrpIntfLeaveAllSm* port = mrpSm.leaveAllSm()->intfLeaveAllSm(key.intfId);
  if (!port) return std::nullopt;
  const auto pending = port->leaveAllPending().find(key.attributeType);
  if (pending == port->leaveAllPending().end()) return std::nullopt;
  return pending->second.expiryTime;
}

}  // namespace

std::vector<AttributeState> attributesOf(const Mrp::MrpApplicationDatabase& database,
                                         Records records) {
  std::vector<AttributeState> attributes;
  database.attrDatabase().walk([&](Platform::IntfId intf, const Mrp::MrpIntfApplicant& port) {
    for (std::size_t type = 0; type < port.typeLimit(); ++type) {
      MrpIntfTypeApplicant* types = port.intfTypeApplicant(static_cast<std::uint8_t>(type));
      if (!types) continue;
      walk(*types, records, [&](const MrpAttrDatabase& record) {
        attributes.push_back({intf.name(), types->attributeType(), record.attributeKey(),
                              record.applicantState(), record.registrarState(),
                              Octets(record.value().begin(), record.value().end())});
      });
    }
  });
  return attributes;
}

FinalState finalStateOf(const Mrp::MrpSm& mrpSm) {
  FinalState state;
  if (const Mrp::MrpCounters* counters = mrpSm.mrpCounters()) {
    state.counters = countersOf(*counters);
    state.refusedEvents = counters->numOfRefusedEvents();
  }
  const Mrp::MrpApplicationDatabase& database = *mrpSm.applicationDatabase();
  state.attributes = attributesOf(database, Records::visible);
  for (const auto& [key, period] : database.leaveAllTime()) {
    state.leaveAll.push_back({key.intfId.name(), key.attributeType, period, dueOf(mrpSm, key)});
  }
  return state;
}

}  // namespace Cli

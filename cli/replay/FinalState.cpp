#include "cli/replay/FinalState.h"

#include "mrp/types/MrpCounters.h"

namespace Cli {
namespace {

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

}  // namespace

std::vector<AttributeState> attributesOf(const Mrp::MrpApplicationDatabase& database,
                                         Records records) {
  std::vector<AttributeState> attributes;
  const auto set =
      records == Records::visible ? Mrp::AttrTable::kVisible : Mrp::AttrTable::kPresent;
  database.walkTypes([&](const Mrp::MrpIntfTypeApplicant& types) {
    types.walk(set, [&](const Mrp::MrpAttrDatabase& record) {
      if (records == Records::committed && !record.committed()) return;
      attributes.push_back({types.intfId().name(), types.attributeType(), record.attributeKey(),
                            record.applicantState(), record.registrarState(),
                            Octets(record.value().begin(), record.value().end())});
    });
    return true;
  });
  return attributes;
}

FinalState finalStateOf(const Mrp::Engine& engine) {
  FinalState state;
  if (const Mrp::MrpCounters* counters = engine.counters()) {
    state.counters = countersOf(*counters);
    state.refusedEvents = counters->numOfRefusedEvents();
  }
  const Mrp::MrpApplicationDatabase& database = engine.database();
  state.attributes = attributesOf(database, Records::visible);
  for (const auto& [key, period] : database.leaveAllTime()) {
    state.leaveAll.push_back(
        {key.intfId.name(), key.attributeType, period, engine.leaveAllDue(key)});
  }
  return state;
}

}  // namespace Cli

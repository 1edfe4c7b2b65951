#include "mrp/MrpSm/db/Records.h"

#include "mrp/MrpSm/db/MrpDatabaseSm.h"
#include "mrp/MrpSm/env/EventLogs.h"

namespace Mrp {

void Records::noMemory(IntfId intf, std::uint8_t type, std::uint64_t key) const {
  MRP_TRACE(env_.trace, 4, " Memory failed for attrDatabase ");
  env_.discarded(MrpObserver::Reason::outOfMemory, {intf, type, key});
}

void Records::deleteAll(IntfId intf) {
  for (const AttributeTypeInfo& type : env_.info.types) {
    walk(intf, type.type, [this](Subject subject) { deletePending(subject); });
  }
}

std::optional<MrpAttrIter> Records::index(const MrpAttrIter::Key& key) const {
  MrpIntfTypeApplicant* of = types(key.intfId, key.attributeType);
  if (!of || of->visibleCount() == 0) return std::nullopt;
  return MrpAttrIter(key, *of);
}

// A hidden or vacant record of a neighbour's takes up its room already: its attribute may return.
bool Records::refusesBeyond(const MrpIntfTypeApplicant& types, std::uint64_t key,
                            std::uint32_t limit) {
  const MrpAttrDatabase* present = types.any(key);
  if (present && !present->onlyDeclared()) return false;
  const IntfId intf = types.intfId();
  const std::uint8_t type = types.attributeType();
  MRP_TRACE(env_.trace, 7,
            "Attribute limit " << limit << " reached on " << intf << ", Type= " << +type
                               << " Key = 0x" << std::hex << key << std::dec << " -- ignoring");
  env_.counters->numOfRefusedEventsInc();
  env_.discarded(MrpObserver::Reason::attributeLimit, {intf, type, key});
  const std::uint64_t events = refused_.add(intf, type, env_.clock.now());
  if (events == 0) return true;
  logEvent(env_.eventLog, kMrpError, [&] {
    return formatText("Attribute limit %d reached on %s, attrType: %d, events ignored: %d", limit,
                      intf.name(), +type, events);
  });
  return true;
}

}  // namespace Mrp

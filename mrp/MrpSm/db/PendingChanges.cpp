// Deferred additions and deletions. A record that waits stands in its final place under a mark;
// committing it clears the mark, or removes the record.

#include <new>

#include "mrp/MrpSm/db/MrpDatabaseSm.h"
#include "mrp/MrpSm/db/Records.h"

namespace Mrp {
namespace {

// Whether `pred` holds for the collection of any port and type.
template <class Pred>
bool anyType(const MrpApplicationDatabase& database, Pred pred) {
  bool any = false;
  database.walkTypes([&](MrpIntfTypeApplicant& types) {
    any = any || pred(types);
    return !any;
  });
  return any;
}

}  // namespace

MrpAttrDatabase* Records::addPending(const MrpAttribute& attribute) {
  const auto& [intf, type, key] = attribute;
  return addPending(findAny(intf, type, key), intf, type, key).record;
}

// An attribute that is being deleted is revived as it stands.
Subject Records::addPending(Subject known, IntfId intf, std::uint8_t type, std::uint64_t key) {
  if (known && known.record->committed()) {
    if (known.record->pendingDelete()) known.types->pendingDeleteDel(*known.record);
    return known;
  }
  try {
    if (!known.types) known.types = &env_.database.attrDatabaseIs(intf).intfTypeApplicantIs(type);
  } catch (const std::bad_alloc&) {
    noMemory(intf, type, key);
    return {};
  }
  return addPending(*known.types, known.record, key);
}

Subject Records::addPending(MrpIntfTypeApplicant& of, MrpAttrDatabase* known, std::uint64_t key) {
  try {
    MrpAttrDatabase& record = of.pendingAddIs(key, known);
    try {
      if (adds_) adds_->doUpdateReviewTimer();
    } catch (...) {
      of.pendingAddDel(record);  // nobody would ever commit it
      throw;
    }
    return {&of, &record};
  } catch (const std::bad_alloc&) {
    noMemory(of.intfId(), of.attributeType(), key);
    return {};
  }
}

void Records::deletePending(const MrpAttribute& attribute) {
  if (const Subject subject = find(attribute)) deletePending(subject);
}

void Records::deletePending(Subject subject) {
  if (subject.record->pendingAdd()) {
    subject.types->pendingAddDel(*subject.record);  // no trace of what no review has seen
    return;
  }
  subject.types->pendingDeleteIs(*subject.record);
  if (deletes_) deletes_->doUpdateReviewTimer();
}

void Records::commitAdd(MrpIntfTypeApplicant& types, MrpAttrDatabase& record) {
  types.commit(record);
  committed(types, record.attributeKey(), true);
}

void Records::commitDelete(MrpIntfTypeApplicant& types, MrpAttrDatabase& record) {
  const std::uint64_t key = record.attributeKey();
  types.mrpAttributeDel(key);
  committed(types, key, false);
}

void Records::committed(const MrpIntfTypeApplicant& types, std::uint64_t key, bool added) const {
  env_.observe(&MrpObserver::committed, {added, {types.intfId(), types.attributeType(), key}});
}

bool Records::hasPendingAdds() const {
  return anyType(env_.database, [](auto& types) { return types.pendingAdds() > 0; });
}

bool Records::hasPendingDeletes() const {
  return anyType(env_.database, [](auto& types) { return types.pendingDeletes() > 0; });
}

void Records::dropPending() {
  env_.database.walkTypes([](MrpIntfTypeApplicant& types) {
    types.pendingDelAll();
    return true;
  });
}

}  // namespace Mrp

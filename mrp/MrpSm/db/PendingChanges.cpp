// Deferred additions and deletions. A record that waits stands in its final place under a mark;
// committing it clears the mark, or removes the record.

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {
namespace {

// Whether `pred` holds for the collection of any port and type.
template <class Pred>
bool anyType(const MrpApplicationDatabase& database, Pred pred) {
  bool any = false;
  database.attrDatabase().walk([&](IntfId, const MrpIntfApplicant& port) {
    for (std::size_t type = 0; !any && type < port.typeLimit(); ++type) {
      MrpIntfTypeApplicant* types = port.intfTypeApplicant(static_cast<std::uint8_t>(type));
      any = types && pred(*types);
    }
  });
  return any;
}

}  // namespace

// An attribute that is being deleted is revived as it stands; its caller resets the states.
MrpAttrDatabase& MrpSm::addAttrToAddPending(const MrpAttribute& attribute) {
  const auto& [intf, type, key] = attribute;
  MrpIntfTypeApplicant* present = typeApplicant(intf, type);
  MrpIntfTypeApplicant& types =
      present ? *present : database_->attrDatabaseIs(intf).intfTypeApplicantIs(type);
  MrpAttrDatabase* known = types.any(key);
  if (known && known->committed()) {
    if (known->pendingDelete()) types.pendingDeleteDel(*known);
    return *known;
  }
  MrpAttrDatabase& record = types.pendingAddIs(key, known);
  mrpDatabaseAddSm_->doUpdateReviewTimer();
  return record;
}

void MrpSm::addAttrToDeletePending(const MrpAttribute& attribute) {
  MrpIntfTypeApplicant* types = typeApplicant(attribute.intfId, attribute.attributeType);
  MrpAttrDatabase* record = types ? types->visible(attribute.attributeKey) : nullptr;
  if (!record) return;
  if (record->pendingAdd()) {
    types->pendingAddDel(*record);  // added and deleted between two reviews: no trace of it
    return;
  }
  types->pendingDeleteIs(*record);
  mrpDatabaseDeleteSm_->doUpdateReviewTimer();
}

void MrpSm::createEntryInDatabase(MrpIntfTypeApplicant& types, MrpAttrDatabase& record) {
  types.commit(record);
}

void MrpSm::deleteEntryInDatabase(MrpIntfTypeApplicant& types, MrpAttrDatabase& record) {
  types.mrpAttributeDel(record.attributeKey());
}

bool MrpSm::hasPendingAdds() const {
  return anyType(*database_, [](const MrpIntfTypeApplicant& t) { return t.pendingAdds() > 0; });
}

bool MrpSm::hasPendingDeletes() const {
  return anyType(*database_, [](const MrpIntfTypeApplicant& t) { return t.pendingDeletes() > 0; });
}

// The status outlives the engine with what has been committed to it.
void MrpSm::dropPendingChanges() {
  anyType(*database_, [](MrpIntfTypeApplicant& t) {
    t.pendingDelAll();
    return false;
  });
}

}  // namespace Mrp

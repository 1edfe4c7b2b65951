#pragma once

#include "mrp/MrpSm/db/MrpAttrIter.h"
#include "mrp/MrpSm/db/MrpDatabaseSm.h"
#include "mrp/MrpSm/db/RefusedEvents.h"
#include "mrp/MrpSm/env/Environment.h"

namespace Mrp {

// One attribute's record and the collection it is in, as a caller hands them on. Whatever lets the
// application run ends that: the record is then looked up again.
struct Subject {
  MrpIntfTypeApplicant* types;
  MrpAttrDatabase* record;

  IntfId intf() const { return types->intfId(); }
  std::uint8_t type() const { return types->attributeType(); }
  std::uint64_t key() const { return record->attributeKey(); }
  MrpAttribute attribute() const { return {intf(), type(), key()}; }
  explicit operator bool() const { return record != nullptr; }
};

// The one way to find, make, fill and delete the records of an application. Additions and deletions
// are marks at first, see MrpDatabaseSm; look-ups see them done.
class Records {
 public:
  explicit Records(const Environment& env) : env_(env) {}

  // Who is told that there is something to commit; null in standby.
  void reviewersAre(MrpDatabaseSm* adds, MrpDatabaseSm* deletes) {
    adds_ = adds;
    deletes_ = deletes;
  }

  // Collection of one port and type; null when there is none.
  MrpIntfTypeApplicant* types(IntfId intf, std::uint8_t type) const {
    if (last_.types && last_.intf == intf && last_.type == type) [[likely]]
      return last_.types;
    last_ = {intf, type, env_.database.typeApplicant(intf, type)};
    return last_.types;
  }
  // What a look-up sees; null when there is nothing.
  Subject find(IntfId intf, std::uint8_t type, std::uint64_t key) const {
    MrpIntfTypeApplicant* of = types(intf, type);
    return {of, of ? of->visible(key) : nullptr};
  }
  Subject find(const MrpAttribute& attribute) const {
    return find(attribute.intfId, attribute.attributeType, attribute.attributeKey);
  }
  // Any record, hidden and vacant ones too.
  MrpAttrDatabase* any(const MrpAttribute& attribute) const {
    return findAny(attribute.intfId, attribute.attributeType, attribute.attributeKey).record;
  }

  // A record at rest with this value, new or revived; null, traced and discarded when memory for it
  // cannot be had. There is none that a look-up sees, or it is put back to rest.
  Subject add(const MrpAttribute& attribute, std::span<const std::uint8_t> value) {
    const auto& [intf, type, key] = attribute;
    return add(findAny(intf, type, key), intf, type, key, value);
  }
  // What a look-up sees, else that, with the value of the receive record.
  [[gnu::always_inline]] Subject is(IntfId intf, std::uint8_t type, std::uint64_t key,
                                    const ValueRecords::Images& images) {
    MrpIntfTypeApplicant* of = types(intf, type);
    bool added = false;
    const auto mayAdd = [&] { return added = adds_ && adds_->asked(); };
    const Subject known{of, of ? of->anyOrPendingAdd(key, mayAdd) : nullptr};
    if (added) {
      known.record->valueIs(images.rxImage());
      return known;
    }
    return known && known.record->visible() ? known : add(known, intf, type, key, images.rxImage());
  }
  // Marks for addition, or takes a mark for deletion away; states and value stay as they are.
  MrpAttrDatabase* addPending(const MrpAttribute& attribute);
  void deletePending(const MrpAttribute& attribute);
  void deletePending(Subject subject);
  // Deletes every attribute of a port.
  void deleteAll(IntfId intf);

  // Makes a mark a fact.
  void commitAdd(MrpIntfTypeApplicant& types, MrpAttrDatabase& record);
  void commitDelete(MrpIntfTypeApplicant& types, MrpAttrDatabase& record);
  bool hasPendingAdds() const;
  bool hasPendingDeletes() const;
  // Forgets every mark: the status outlives the engine with what has been committed to it.
  void dropPending();

  // Makes an attribute current for whoever looks at the scratch records, its value too if it has
  // one.
  void currentIs(Subject subject) const {
    const MrpAttrDatabase& record = *subject.record;
    env_.contextIs(subject.intf(), subject.type(), record.attributeKey());
    env_.values.takeImage(subject.type(), record.value());
  }

  // The attribute index of one port and type; none when it is empty.
  std::optional<MrpAttrIter> index(const MrpAttrIter::Key& key) const;
  // Visits its records in key order, see AttrTable::walk.
  template <class Visit>
  void walk(IntfId intf, std::uint8_t type, Visit visit) const {
    MrpIntfTypeApplicant* of = types(intf, type);
    if (!of) return;
    of->walk(AttrTable::kVisible, [&](MrpAttrDatabase& record) { visit(Subject{of, &record}); });
  }

  // Whether the neighbour may not hold this attribute too, see MrpConfig::attributeLimit. A refusal
  // is counted, and logged once in an interval.
  bool refuses(const MrpIntfTypeApplicant& types, std::uint64_t key) {
    const std::uint32_t limit = env_.config.attributeLimit(env_.application, types.attributeType());
    return limit > 0 && types.heldByPeer() >= limit && refusesBeyond(types, key, limit);
  }

 private:
  Subject findAny(IntfId intf, std::uint8_t type, std::uint64_t key) const {
    MrpIntfTypeApplicant* of = types(intf, type);
    return {of, of ? of->any(key) : nullptr};
  }
  // `known` is what findAny gives.
  [[gnu::noinline]] Subject add(Subject known, IntfId intf, std::uint8_t type, std::uint64_t key,
                                std::span<const std::uint8_t> value) {
    const Subject added = known.types && !known.record ? addPending(*known.types, nullptr, key)
                                                       : addPending(known, intf, type, key);
    if (!added) return added;
    if (known) added.record->statesAre(MrpApplicantState::vo, MrpRegistrarState::mt);
    added.record->valueIs(value);
    return added;
  }
  Subject addPending(Subject known, IntfId intf, std::uint8_t type, std::uint64_t key);
  // Of a collection that is there; `known` is no committed record, or null.
  Subject addPending(MrpIntfTypeApplicant& of, MrpAttrDatabase* known, std::uint64_t key);
  bool refusesBeyond(const MrpIntfTypeApplicant& types, std::uint64_t key, std::uint32_t limit);
  void committed(const MrpIntfTypeApplicant& types, std::uint64_t key, bool added) const;
  [[gnu::cold]] void noMemory(IntfId intf, std::uint8_t type, std::uint64_t key) const;

  // The collection looked up last; collections stay for as long as the status does.
  struct Last {
    IntfId intf;
    std::uint8_t type = 0;
    MrpIntfTypeApplicant* types = nullptr;
  };

  const Environment& env_;
  MrpDatabaseSm* adds_ = nullptr;
  MrpDatabaseSm* deletes_ = nullptr;
  mutable Last last_;
  RefusedEvents refused_;
};

}  // namespace Mrp

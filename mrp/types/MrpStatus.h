#pragma once

#include <map>
#include <memory>
#include <vector>

#include "mrp/types/AttrTable.h"
#include "mrp/types/PlatformNames.h"
#include "platform/interface/IntfMap.h"
#include "platform/reactor/Entity.h"
#include "platform/time/Seconds.h"

// The status entity of the MRP service: application -> port -> attribute type -> record.
namespace Mrp {

// Attributes of one type on one port. Its published members are the committed records. Records that
// wait to be added or deleted live in the same table under marks, so that adding and deleting move
// no memory.
class MRP_API MrpIntfTypeApplicant {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpIntfTypeApplicant";
  // `info` is the type's row in the table of applications; null for a type that the application
  // lacks.
  MrpIntfTypeApplicant(IntfId intfId, std::uint8_t attributeType, const AttributeTypeInfo* info);

  IntfId intfId() const { return intfId_; }
  std::uint8_t attributeType() const { return attributeType_; }
  const AttributeTypeInfo* info() const { return info_; }

  // Published collection. `mrpAttributeIs` commits a record at once, new when there was none.
  MrpAttrDatabase* mrpAttribute(std::uint64_t key) const;
  MrpAttrDatabase& mrpAttributeIs(std::uint64_t key);
  void mrpAttributeDel(std::uint64_t key);
  bool mrpAttributeHas(std::uint64_t key) const { return mrpAttribute(key) != nullptr; }

  // What a look-up sees: pending additions, but no pending deletions.
  MrpAttrDatabase* visible(std::uint64_t key) const {
    MrpAttrDatabase* record = table_.find(key);
    return record && record->visible() ? record : nullptr;
  }
  std::size_t visibleCount() const { return table_.count(AttrTable::kVisible); }
  // Records in which a neighbour has a part, hidden and vacant ones too: all but those that are
  // declared here and registered for nobody.
  std::size_t heldByPeer() const { return table_.size() - table_.onlyDeclared(); }

  // Visits the records of a set in key order, see AttrTable::walk.
  template <class Visit>
  bool walk(AttrTable::Set set, Visit visit) const {
    return table_.walk(set, visit);
  }

  // Pending additions and deletions.
  MrpAttrDatabase& pendingAddIs(std::uint64_t key) { return pendingAddIs(key, table_.find(key)); }
  // The same for a caller that has looked up any(key).
  MrpAttrDatabase& pendingAddIs(std::uint64_t key, MrpAttrDatabase* known) {
    return known ? pendingAddAgain(*known) : table_.add(key, MrpAttrDatabase::kPendingAdd);
  }
  // What any(key) gives, else a new one where that takes no memory and `mayAdd`; or null.
  template <class MayAdd>
  MrpAttrDatabase* anyOrPendingAdd(std::uint64_t key, MayAdd mayAdd) {
    return table_.findOrAdd(key, MrpAttrDatabase::kPendingAdd, mayAdd);
  }
  void pendingAddDel(MrpAttrDatabase& record);
  void commit(MrpAttrDatabase& record);
  void pendingDeleteIs(MrpAttrDatabase& record);
  void pendingDeleteDel(MrpAttrDatabase& record);
  std::size_t pendingAdds() const { return table_.count(AttrTable::kPendingAdd); }
  std::size_t pendingDeletes() const { return table_.count(AttrTable::kPendingDelete); }

  // What a record of this collection declares.
  void applicantStateIs(MrpAttrDatabase& record, MrpApplicantState state) {
    table_.applicantStateIs(record, state);
  }

  // To be called when a leave timer has stopped running: a vacant record goes with its last one.
  void leaveSmStopped(MrpAttrDatabase& record) {
    if (record.idle()) table_.del(record);
  }
  // Any record, vacant ones too: for those who look for leave timers.
  MrpAttrDatabase* any(std::uint64_t key) const { return table_.find(key); }

  // Forgets what only a running engine needs: pending additions go, pending deletions are revived.
  void pendingDelAll();

  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  MrpAttrDatabase& pendingAddAgain(MrpAttrDatabase& known);
  Platform::Value::Members members() const;

  IntfId intfId_;
  std::uint8_t attributeType_;
  const AttributeTypeInfo* info_;
  mutable AttrTable table_;
};

// Attributes of one port, by attribute type.
class MRP_API MrpIntfApplicant {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpIntfApplicant";
  MrpIntfApplicant(IntfId intfId, MrpApplication application)
      : intfId_(intfId), application_(application) {}

  MrpIntfTypeApplicant* intfTypeApplicant(std::uint8_t type) const {
    return type < types_.size() ? types_[type].get() : nullptr;
  }
  MrpIntfTypeApplicant& intfTypeApplicantIs(std::uint8_t type);
  // Visits the collections in the order of types. A visitor that returns false ends the walk, which
  // then gives false.
  template <class Visit>
  bool walkTypes(Visit visit) const {
    for (std::size_t type = 0; type < types_.size(); ++type) {
      if (types_[type] && !visit(*types_[type])) return false;
    }
    return true;
  }

  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  Platform::Value::Members members() const;

  IntfId intfId_;
  MrpApplication application_;
  std::vector<std::unique_ptr<MrpIntfTypeApplicant>> types_;
};

// Database of one application.
class MRP_API MrpApplicationDatabase {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpApplicationDatabase";
  explicit MrpApplicationDatabase(MrpApplication application) : application_(application) {}

  MrpApplication application() const { return application_; }

  MrpIntfApplicant* attrDatabase(IntfId intf) const { return attrDatabase_.find(intf); }
  MrpIntfApplicant& attrDatabaseIs(IntfId intf) {
    return attrDatabase_.is(intf, intf, application_);
  }
  const Platform::IntfMap<MrpIntfApplicant>& attrDatabase() const { return attrDatabase_; }
  // The collection of one port and type; null when any level is missing.
  MrpIntfTypeApplicant* typeApplicant(IntfId intf, std::uint8_t type) const {
    MrpIntfApplicant* port = attrDatabase_.find(intf);
    return port ? port->intfTypeApplicant(type) : nullptr;
  }

  // Visits the collections of all ports and types, in that order; a visitor that returns false ends
  // the walk.
  template <class Visit>
  void walkTypes(Visit visit) const {
    bool goesOn = true;
    attrDatabase_.walk(
        [&](IntfId, const MrpIntfApplicant& port) { goesOn = goesOn && port.walkTypes(visit); });
  }

  // LeaveAll periods in force, for display.
  const std::map<MrpLeaveAllKey, Seconds>& leaveAllTime() const { return leaveAllTime_; }
  void leaveAllTimeIs(const MrpLeaveAllKey& key, Seconds time) { leaveAllTime_[key] = time; }
  void leaveAllTimeDel(const MrpLeaveAllKey& key) { leaveAllTime_.erase(key); }

  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  Platform::Value::Members attrMembers() const;
  Platform::Value::Members leaveAllMembers() const;

  MrpApplication application_;
  Platform::IntfMap<MrpIntfApplicant> attrDatabase_;
  std::map<MrpLeaveAllKey, Seconds> leaveAllTime_;
};

class MRP_API MrpStatus : public Platform::Entity {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpStatus";

  MrpApplicationDatabase* application(MrpApplication application) const;
  MrpApplicationDatabase& applicationIs(MrpApplication application);

  // While set, a copy of every admitted MRPDU is flooded and none of its events is staged.
  bool flood() const { return flood_; }
  void floodIs(bool flood) { flood_ = flood; }

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  Platform::Value::Members members() const;

  std::map<MrpApplication, std::unique_ptr<MrpApplicationDatabase>> application_;
  bool flood_ = false;
};

// Copies every committed record of `from` into `to`, as the side that takes over receives them.
MRP_API void copyCommitted(const MrpApplicationDatabase& from, MrpApplicationDatabase& to);

}  // namespace Mrp

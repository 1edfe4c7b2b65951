#include "mrp/types/MrpStatus.h"

namespace Mrp {
namespace {

using Platform::Described;
using Platform::Value;

// VLAN identifiers and SR classes are small numbers; all other keys are stream identifiers, or the
// single key 0 of a type that the application does not define.
AttrTable::Layout layoutOf(MrpApplication application, std::uint8_t type) {
  const bool vlan =
      application == MrpApplication::mvrp && type == static_cast<std::uint8_t>(MvrpAttrType::vlan);
  const bool domain = application == MrpApplication::msrp &&
                      type == static_cast<std::uint8_t>(MsrpAttrType::domain);
  return {vlan || domain ? AttrTable::Keys::dense : AttrTable::Keys::sparse, !vlan};
}

// Calls `visit(record)` for every record that `atOrAbove(key)` gives, in key order, tolerating
// whatever the visitor does to the table.
template <class AtOrAbove, class Visit>
void walkKeys(AtOrAbove atOrAbove, Visit visit) {
  MrpAttrDatabase* record = atOrAbove(0);
  while (record) {
    const std::uint64_t key = record->attributeKey();
    visit(*record);
    record = key == UINT64_MAX ? nullptr : atOrAbove(key + 1);
  }
}

}  // namespace

MrpIntfTypeApplicant::MrpIntfTypeApplicant(IntfId intfId, std::uint8_t attributeType,
                                           AttrTable::Layout layout)
    : intfId_(intfId), attributeType_(attributeType), table_(layout, this) {}

// Every change of a record's marks goes through here, so that sets and counts always agree with
// them.
void MrpIntfTypeApplicant::marksAre(MrpAttrDatabase& record, unsigned marks) {
  const bool wasVisible = record.visible();
  const unsigned changed = record.marks_ ^ marks;
  record.marks_ = static_cast<std::uint8_t>(marks);
  visible_ += static_cast<std::size_t>(record.visible()) - static_cast<std::size_t>(wasVisible);
  if (changed & MrpAttrDatabase::kPendingAdd) {
    table_.setIs(AttrTable::kPendingAdd, record, record.pendingAdd());
  }
  if (changed & MrpAttrDatabase::kPendingDelete) {
    table_.setIs(AttrTable::kPendingDelete, record, record.pendingDelete());
  }
  if (record.idle()) table_.del(record);
}

void MrpAttrDatabase::onlyDeclaredChanged() {
  std::size_t& count = AttrTable::ownerOf(*this).onlyDeclared_;
  onlyDeclared() ? ++count : --count;
}

MrpAttrDatabase* MrpIntfTypeApplicant::mrpAttribute(std::uint64_t key) const {
  MrpAttrDatabase* record = table_.find(key);
  return record && record->committed() ? record : nullptr;
}

MrpAttrDatabase& MrpIntfTypeApplicant::mrpAttributeIs(std::uint64_t key) {
  MrpAttrDatabase& record = table_.is(key);
  if (record.marks_ == 0) record.reset();
  if (!record.committed()) marksAre(record, MrpAttrDatabase::kCommitted);
  return record;
}

void MrpIntfTypeApplicant::mrpAttributeDel(std::uint64_t key) {
  if (MrpAttrDatabase* record = mrpAttribute(key)) marksAre(*record, 0);
}

MrpAttrDatabase& MrpIntfTypeApplicant::pendingAddIs(std::uint64_t key, MrpAttrDatabase* known) {
  MrpAttrDatabase& record = known ? *known : table_.add(key);
  record.reset();
  marksAre(record, MrpAttrDatabase::kPendingAdd);
  return record;
}

void MrpIntfTypeApplicant::pendingAddDel(MrpAttrDatabase& record) {
  if (record.pendingAdd()) marksAre(record, record.marks_ ^ MrpAttrDatabase::kPendingAdd);
}

void MrpIntfTypeApplicant::commit(MrpAttrDatabase& record) {
  marksAre(record, MrpAttrDatabase::kCommitted);
}

void MrpIntfTypeApplicant::pendingDeleteIs(MrpAttrDatabase& record) {
  marksAre(record, record.marks_ | MrpAttrDatabase::kPendingDelete);
}

void MrpIntfTypeApplicant::pendingDeleteDel(MrpAttrDatabase& record) {
  if (record.pendingDelete()) marksAre(record, record.marks_ ^ MrpAttrDatabase::kPendingDelete);
}

void MrpIntfTypeApplicant::pendingDelAll() {
  walkKeys([this](std::uint64_t from) { return pendingAddAtOrAbove(from); },
           [this](MrpAttrDatabase& record) { pendingAddDel(record); });
  walkKeys([this](std::uint64_t from) { return pendingDeleteAtOrAbove(from); },
           [this](MrpAttrDatabase& record) { pendingDeleteDel(record); });
}

MrpIntfTypeApplicant& MrpIntfApplicant::intfTypeApplicantIs(std::uint8_t type) {
  if (type >= types_.size()) types_.resize(std::size_t{type} + 1);
  if (!types_[type]) {
    types_[type] =
        std::make_unique<MrpIntfTypeApplicant>(intfId_, type, layoutOf(application_, type));
  }
  return *types_[type];
}

MrpApplicationDatabase* MrpStatus::application(MrpApplication application) const {
  auto it = application_.find(application);
  return it == application_.end() ? nullptr : it->second.get();
}

MrpApplicationDatabase& MrpStatus::applicationIs(MrpApplication application) {
  auto& database = application_[application];
  if (!database) database = std::make_unique<MrpApplicationDatabase>(application);
  return *database;
}

void copyCommitted(const MrpApplicationDatabase& from, MrpApplicationDatabase& to) {
  from.attrDatabase().walk([&](IntfId intf, const MrpIntfApplicant& port) {
    for (std::size_t type = 0; type < port.typeLimit(); ++type) {
      const auto t = static_cast<std::uint8_t>(type);
      MrpIntfTypeApplicant* source = port.intfTypeApplicant(t);
      if (!source) continue;
      MrpIntfTypeApplicant& target = to.attrDatabaseIs(intf).intfTypeApplicantIs(t);
      walkKeys([&](std::uint64_t key) { return source->anyAtOrAbove(key); },
               [&](MrpAttrDatabase& record) {
                 if (!record.committed()) return;
                 Platform::entityCopy(record, target.mrpAttributeIs(record.attributeKey()));
               });
    }
  });
}

Value::Members MrpIntfTypeApplicant::members() const {
  Value::Members members;
  walkKeys([this](std::uint64_t key) { return table_.atOrAbove(AttrTable::kPresent, key); },
           [&](MrpAttrDatabase& record) {
             if (!record.committed()) return;
             members.emplace_back(Value(record.attributeKey()), Platform::described(record));
           });
  return members;
}

Value::Members MrpIntfApplicant::members() const {
  Value::Members members;
  for (const auto& type : types_) {
    if (!type) continue;
    members.emplace_back(Value(std::uint64_t{type->attributeType()}), Platform::described(*type));
  }
  return members;
}

Value::Members MrpApplicationDatabase::attrMembers() const {
  Value::Members members;
  attrDatabase_.walk([&](IntfId intf, const MrpIntfApplicant& port) {
    members.emplace_back(Value(intf.name()), Platform::described(port));
  });
  return members;
}

Value::Members MrpApplicationDatabase::leaveAllMembers() const {
  Value::Members members;
  for (const auto& [key, time] : leaveAllTime_) {
    members.emplace_back(Value(key.intfId.name() + "/" + std::to_string(key.attributeType)),
                         Value(time.value()));
  }
  return members;
}

Value::Members MrpStatus::members() const {
  Value::Members members;
  for (const auto& [application, database] : application_) {
    members.emplace_back(Value(std::string(stringValue(application))),
                         Platform::described(*database));
  }
  return members;
}

std::span<const Platform::AttributeInfo> MrpIntfTypeApplicant::attributeTable() {
  using A = MrpIntfTypeApplicant;
  static constexpr std::array table{
      Platform::readOnlyAttribute<A, &A::attributeType>("attributeType"),
      Platform::readOnlyAttribute<A, &A::members>("mrpAttribute"),
  };
  return table;
}

std::span<const Platform::AttributeInfo> MrpIntfApplicant::attributeTable() {
  using A = MrpIntfApplicant;
  static constexpr std::array table{
      Platform::readOnlyAttribute<A, &A::members>("intfTypeApplicant"),
  };
  return table;
}

std::span<const Platform::AttributeInfo> MrpApplicationDatabase::attributeTable() {
  using A = MrpApplicationDatabase;
  static constexpr std::array table{
      Platform::readOnlyAttribute<A, &A::attrMembers>("attrDatabase"),
      Platform::readOnlyAttribute<A, &A::leaveAllMembers>("leaveAllTime"),
  };
  return table;
}

std::span<const Platform::AttributeInfo> MrpStatus::attributeTable() {
  using A = MrpStatus;
  static constexpr std::array table{
      Platform::readOnlyAttribute<A, &A::members>("application"),
      Platform::attribute<A, &A::flood, &A::floodIs>("flood"),
  };
  return table;
}

}  // namespace Mrp

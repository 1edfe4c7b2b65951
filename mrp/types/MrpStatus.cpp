#include "mrp/types/MrpStatus.h"

namespace Mrp {
namespace {

using Platform::Described;
using Platform::Value;

// A type that the application does not define has the single key 0.
AttrTable::Layout layoutOf(const AttributeTypeInfo* info) {
  if (!info) return {AttributeKeys::sparse, true};
  return {info->keys, info->image > MrpAttrDatabase::kNarrowValue};
}

}  // namespace

MrpIntfTypeApplicant::MrpIntfTypeApplicant(IntfId intfId, std::uint8_t attributeType,
                                           const AttributeTypeInfo* info)
    : intfId_(intfId), attributeType_(attributeType), info_(info), table_(layoutOf(info), this) {}

MrpAttrDatabase* MrpIntfTypeApplicant::mrpAttribute(std::uint64_t key) const {
  MrpAttrDatabase* record = table_.find(key);
  return record && record->committed() ? record : nullptr;
}

MrpAttrDatabase& MrpIntfTypeApplicant::mrpAttributeIs(std::uint64_t key) {
  MrpAttrDatabase& record = table_.is(key, MrpAttrDatabase::kCommitted);
  if (record.marks() == 0) record.reset();
  if (!record.committed()) table_.marksAre(record, MrpAttrDatabase::kCommitted);
  return record;
}

void MrpIntfTypeApplicant::mrpAttributeDel(std::uint64_t key) {
  if (MrpAttrDatabase* record = mrpAttribute(key)) table_.marksAre(*record, 0);
}

MrpAttrDatabase& MrpIntfTypeApplicant::pendingAddAgain(MrpAttrDatabase& known) {
  known.reset();
  table_.marksAre(known, MrpAttrDatabase::kPendingAdd);
  return known;
}

void MrpIntfTypeApplicant::pendingAddDel(MrpAttrDatabase& record) {
  if (record.pendingAdd()) table_.marksAre(record, record.marks() ^ MrpAttrDatabase::kPendingAdd);
}

void MrpIntfTypeApplicant::commit(MrpAttrDatabase& record) {
  table_.marksAre(record, MrpAttrDatabase::kCommitted);
}

void MrpIntfTypeApplicant::pendingDeleteIs(MrpAttrDatabase& record) {
  table_.marksAre(record, record.marks() | MrpAttrDatabase::kPendingDelete);
}

void MrpIntfTypeApplicant::pendingDeleteDel(MrpAttrDatabase& record) {
  if (record.pendingDelete())
    table_.marksAre(record, record.marks() ^ MrpAttrDatabase::kPendingDelete);
}

void MrpIntfTypeApplicant::pendingDelAll() {
  walk(AttrTable::kPendingAdd, [this](MrpAttrDatabase& record) { pendingAddDel(record); });
  walk(AttrTable::kPendingDelete, [this](MrpAttrDatabase& record) { pendingDeleteDel(record); });
}

MrpIntfTypeApplicant& MrpIntfApplicant::intfTypeApplicantIs(std::uint8_t type) {
  if (type >= types_.size()) types_.resize(std::size_t{type} + 1);
  if (!types_[type]) {
    types_[type] = std::make_unique<MrpIntfTypeApplicant>(intfId_, type,
                                                          applicationInfo(application_).type(type));
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
  from.walkTypes([&](const MrpIntfTypeApplicant& source) {
    MrpIntfTypeApplicant& target =
        to.attrDatabaseIs(source.intfId()).intfTypeApplicantIs(source.attributeType());
    source.walk(AttrTable::kPresent, [&](MrpAttrDatabase& record) {
      if (!record.committed()) return;
      Platform::entityCopy(record, target.mrpAttributeIs(record.attributeKey()));
    });
    return true;
  });
}

Value::Members MrpIntfTypeApplicant::members() const {
  Value::Members members;
  walk(AttrTable::kPresent, [&](MrpAttrDatabase& record) {
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

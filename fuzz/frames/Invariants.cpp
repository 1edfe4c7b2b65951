// What must hold between any two steps: nothing is left staged, and all ways to the records of a
// port and type agree.

#include <iostream>

#include "fuzz/Check.h"
#include "fuzz/frames/World.h"

namespace Fuzz {
namespace {

using Mrp::MrpAttrDatabase;
using Keys = std::vector<std::uint64_t>;

// Above this many records, only every so many steps look at each of them.
constexpr std::size_t kManyRecords = 1000;
constexpr unsigned kSeldom = 8;

// The number in the first octets of a stored value.
std::uint64_t keyOfValue(bool msrp, unsigned type, OctetSpan value) {
  const bool domain = type == static_cast<unsigned>(Mrp::MsrpAttrType::domain);
  const std::size_t octets = !msrp ? 2 : domain ? 1 : 8;
  std::uint64_t key = 0;
  for (const std::uint8_t octet : value.first(octets)) key = key << 8 | octet;
  return key;
}

// The keys of a set of records, which are to come in ascending order.
template <class Visit>
Keys walked(const Mrp::MrpIntfTypeApplicant& types, Mrp::AttrTable::Set set, Visit visit) {
  Keys keys;
  types.walk(set, [&](MrpAttrDatabase& record) {
    CHECK(keys.empty() || record.attributeKey() > keys.back());
    visit(record);
    keys.push_back(record.attributeKey());
  });
  return keys;
}

}  // namespace

void World::check() {
  CHECK(agent_->mrpOutIntfQueueEmpty());
  if (active()) {
    CHECK(engine_->mrpParsedAttribute().empty());
    for (std::uint8_t type = 0; type <= types(); ++type) CHECK(!engine_->mrpRxLeaveAll(type));
  }
  std::uint64_t visible = 0;
  eachCollection([&](IntfId, std::uint8_t, Mrp::MrpIntfTypeApplicant& types) {
    visible += types.visibleCount();
  });
  const std::uint64_t now = active() ? engine_->parseContext()->eventsCounter() : 0;
  CHECK(visible <= staged_ + now + requested_);
  if (visible > kManyRecords && step_ % kSeldom != 0) return;
  eachCollection([&](IntfId intf, std::uint8_t type, Mrp::MrpIntfTypeApplicant&) {
    checkCollection(intf, type);
  });
}

// The table's marks are the truth that look-ups, index, pending sets and the published tree show.
void World::checkCollection(IntfId intf, std::uint8_t type) {
  Mrp::MrpIntfTypeApplicant& types = *engine_->applicationDatabase()->typeApplicant(intf, type);
  Keys visible;
  Keys committed;
  Keys adds;
  Keys deletes;
  std::size_t heldByPeer = 0;
  walked(types, Mrp::AttrTable::kPresent, [&](MrpAttrDatabase& record) {
    checkRecord(intf, type, record);
    const std::uint64_t key = record.attributeKey();
    if (record.visible()) visible.push_back(key);
    if (record.committed()) committed.push_back(key);
    if (record.pendingAdd()) adds.push_back(key);
    if (record.pendingDelete()) deletes.push_back(key);
    if (!record.onlyDeclared()) ++heldByPeer;
  });
  const auto nothing = [](const MrpAttrDatabase&) {};
  CHECK(walked(types, Mrp::AttrTable::kVisible, nothing) == visible);
  CHECK(walked(types, Mrp::AttrTable::kPendingAdd, nothing) == adds);
  CHECK(walked(types, Mrp::AttrTable::kPendingDelete, nothing) == deletes);
  CHECK(types.visibleCount() == visible.size());
  CHECK(types.pendingAdds() == adds.size());
  CHECK(types.pendingDeletes() == deletes.size());
  CHECK(types.heldByPeer() == heldByPeer);

  const auto index = engine_->mrpAttrIter({intf, type});
  CHECK(index.has_value() == !visible.empty());
  Keys indexed;
  engine_->walkRecords(intf, type, [&](const MrpAttrDatabase& record) {
    indexed.push_back(record.attributeKey());
    CHECK(index->attributeKeyHas(record.attributeKey()));
  });
  CHECK(indexed == visible);
  checkPublished(intf, type, committed);
}

void World::checkRecord(IntfId intf, std::uint8_t type, MrpAttrDatabase& record) {
  const Mrp::MrpIntfTypeApplicant& types =
      *engine_->applicationDatabase()->typeApplicant(intf, type);
  const std::uint64_t key = record.attributeKey();
  MrpAttrDatabase* const found = record.visible() ? &record : nullptr;
  CHECK(types.any(key) == &record && types.visible(key) == found);
  CHECK(types.mrpAttribute(key) == (record.committed() ? &record : nullptr));
  CHECK(engine_->mrpGetAttrFromDatabase(intf, type, key, true) == found);
  CHECK(engine_->mrpGetAttrFromDatabase(intf, type, key, false) ==
        (record.pendingAdd() ? nullptr : found));
  CHECK(!record.pendingAdd() || !record.committed());
  CHECK(!record.pendingDelete() || record.committed());
  if (found) {
    CHECK(record.value().size() == agent_->rxImage(type).size());
    CHECK(keyOfValue(msrp(), type, record.value()) == key);
  }
  const bool vacant = !record.committed() && !record.pendingAdd();
  CHECK(!vacant || record.leaveSm().running() || record.explicitLeaveSm().running());
  checkLeaveTimer({intf, type, key}, record, record.leaveSm());
  checkLeaveTimer({intf, type, key}, record, record.explicitLeaveSm());
}

// No expiry is being served between two steps.
void World::checkLeaveTimer(const Mrp::MrpAttribute& attribute, const MrpAttrDatabase& record,
                            Mrp::MrpLeaveSm& sm) {
  CHECK(&sm.record() == &record && !sm.expiring() && !sm.dropped());
  if (!active()) {
    CHECK(!sm.running());
    return;
  }
  const Mrp::MrpRegistrarSm& registrar = *engine_->registrarSm();
  CHECK((sm.explicitLeave() ? registrar.explicitLeaveSm(attribute)
                            : registrar.leaveSm(attribute)) == (sm.running() ? &sm : nullptr));
}

void World::checkPublished(IntfId intf, std::uint8_t type, const Keys& committed) {
  const auto& types = *engine_->applicationDatabase()->typeApplicant(intf, type);
  const auto tree = Platform::attributeValue(Platform::described(types), "mrpAttribute");
  const auto* members = tree ? tree->as<Platform::Value::Members>() : nullptr;
  CHECK(members);
  Keys published;
  for (const auto& [key, record] : *members) {
    const auto* number = key.as<std::uint64_t>();
    CHECK(number);
    published.push_back(*number);
  }
  CHECK(published == committed);
}

void World::checkAllGone() {
  eachCollection([&](IntfId intf, std::uint8_t type, Mrp::MrpIntfTypeApplicant& types) {
    engine_->walkRecords(intf, type, [&](const MrpAttrDatabase& record) {
      std::cerr << "left over: " << Mrp::MrpAttribute{intf, type, record.attributeKey()} << ' '
                << record.applicantState() << ' ' << record.registrarState() << '\n';
    });
    CHECK(types.visibleCount() == 0);
    CHECK(types.pendingAdds() == 0 && types.pendingDeletes() == 0);
    CHECK(types.walk(Mrp::AttrTable::kPresent, [](const MrpAttrDatabase&) { return false; }));
    CHECK(types.heldByPeer() == 0);
  });
  for (const IntfId intf : ports_) {
    CHECK(!agent_->mrpTxPacketContext(intf) && !agent_->mrpTxSecondPacketContext(intf));
  }
}

}  // namespace Fuzz

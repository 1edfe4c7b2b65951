// The collections of the attribute database against models that are plainly right.

#include "mrp/types/AttrTable.h"

#include <map>
#include <random>
#include <set>

#include "tests/engine/Support.h"

namespace EngineTest {
namespace {

// Keys that meet often: a few clusters, and both ends of the range.
std::uint64_t someKey(std::mt19937_64& random, bool dense) {
  if (dense) return random() % 16 == 0 ? 65535 - random() % 3 : random() % 300;
  switch (random() % 8) {
    case 0:
      return 0;
    case 1:
      return UINT64_MAX - random() % 3;
    case 2:
      return (random() % 40) << 56;
    default:
      return 0x0011223300000000 + random() % 300;
  }
}

void mark(MrpAttrDatabase& record, std::uint64_t serial) { record.valueIs(number(serial, 8)); }
std::uint64_t markOf(const MrpAttrDatabase& record) {
  std::uint64_t serial = 0;
  for (std::uint8_t octet : record.value()) serial = serial << 8 | octet;
  return serial;
}

class AttrTableTest : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Keys, AttrTableTest, testing::Bool(),
                         [](const auto& param) { return param.param ? "Dense" : "Sparse"; });

TEST_P(AttrTableTest, AgreesWithAMapOfSerialNumbers) {
  const bool dense = GetParam();
  std::mt19937_64 random(dense ? 1 : 2);
  AttrTable table({dense ? AttributeKeys::dense : AttributeKeys::sparse, true}, nullptr);
  std::map<std::uint64_t, std::pair<std::uint64_t, MrpAttrDatabase*>> model;
  std::uint64_t from = 0;  // the walk's next step gives the smallest key from here on
  std::optional<AttrTable::Walk> walk(std::in_place, table, AttrTable::kPresent);
  for (std::uint64_t serial = 1; serial <= 100000; ++serial) {
    const std::uint64_t key = someKey(random, dense);
    // Long stretches of growing and of shrinking.
    const bool growing = serial / 5000 % 2 == 0;
    const auto found = model.find(key);
    ASSERT_EQ(table.find(key) != nullptr, found != model.end());
    if (found != model.end() && random() % 8 < (growing ? 1 : 7)) {
      table.del(*table.find(key));
      model.erase(found);
    } else if (found == model.end() && random() % 8 < (growing ? 7 : 2)) {
      MrpAttrDatabase& record = table.is(key);
      ASSERT_TRUE(record.atRest() && record.value().empty()) << "a new record in an old place";
      mark(record, serial);
      model[key] = {serial, &record};
    } else if (found != model.end()) {
      ASSERT_EQ(&table.is(key), found->second.second) << "records stay where they are";
      ASSERT_EQ(markOf(*table.find(key)), found->second.first);
    }
    ASSERT_EQ(table.size(), model.size());
    // A walk goes on from where it was, whatever changed meanwhile, or another begins.
    if (random() % 4 == 0) walk.emplace(table, AttrTable::kPresent, from = someKey(random, dense));
    const auto next = model.lower_bound(from);
    MrpAttrDatabase* at = walk->next();
    ASSERT_EQ(at ? at->attributeKey() : 1, next == model.end() ? 1 : next->first);
    ASSERT_EQ(at == nullptr, next == model.end());
    from = at ? at->attributeKey() + 1 : 0;
    if (from == 0) walk.emplace(table, AttrTable::kPresent);
  }
}

TEST(KeyOrderTest, AgreesWithASetAndStaysWithinItsBound) {
  std::mt19937_64 random(5);
  KeyOrder order;
  std::set<std::uint64_t> listed, live;  // listed: live keys and stale ones
  for (int i = 0; i < 100000; ++i) {
    const std::uint64_t key = someKey(random, false);
    if (random() % 2) {
      order.add(key);
      listed.insert(key);
      live.insert(key);
    } else {
      live.erase(key);
      order.trim(live.size(), [&](std::uint64_t k) { return live.contains(k); });
      ASSERT_LE(order.size(), 2 * live.size() + 64);
      for (const std::uint64_t k : live) ASSERT_TRUE(listed.contains(k));
    }
    if (random() % 4) continue;
    // Compacted, nothing stale is left; otherwise stale keys may be met, live ones never missed.
    const std::uint64_t from = someKey(random, false);
    const auto next = live.lower_bound(from);
    std::optional<std::uint64_t> at = order.atOrAbove(from);
    while (at && !live.contains(*at)) {
      ASSERT_TRUE(listed.contains(*at));
      at = *at == UINT64_MAX ? std::nullopt : order.atOrAbove(*at + 1);
    }
    ASSERT_EQ(at, next == live.end() ? std::nullopt : std::optional(*next));
  }
  order.compact([](std::uint64_t) { return false; });
  EXPECT_EQ(order.size(), 0u);
  EXPECT_FALSE(order.atOrAbove(0));
}

// The published collection with its pending changes, driven as the engine drives it.
struct Pending {
  bool committed = false, add = false, remove = false;
  bool visible() const { return (committed && !remove) || add; }
};

class TypeApplicantTest : public testing::TestWithParam<bool> {
 protected:
  template <class Has>
  void expectWalk(AttrTable::Set set, Has has, std::size_t count) {
    std::vector<std::uint64_t> expected, met;
    for (const auto& [key, pending] : model) {
      if (has(pending)) expected.push_back(key);
    }
    types.walk(set, [&](const MrpAttrDatabase& record) { met.push_back(record.attributeKey()); });
    ASSERT_EQ(met, expected);
    ASSERT_EQ(count, expected.size());
  }
  void expectAgreement() {
    expectWalk(
        AttrTable::kVisible, [](const Pending& p) { return p.visible(); }, types.visibleCount());
    expectWalk(
        AttrTable::kPendingAdd, [](const Pending& p) { return p.add; }, types.pendingAdds());
    expectWalk(
        AttrTable::kPendingDelete, [](const Pending& p) { return p.remove; },
        types.pendingDeletes());
  }

  MrpIntfTypeApplicant types{IntfId("port1"), 1, GetParam() ? &kMsrpTypes[3] : &kMsrpTypes[0]};
  std::map<std::uint64_t, Pending> model;
};
INSTANTIATE_TEST_SUITE_P(Keys, TypeApplicantTest, testing::Bool(),
                         [](const auto& param) { return param.param ? "Dense" : "Sparse"; });

TEST_P(TypeApplicantTest, PendingChangesAgreeWithAModel) {
  std::mt19937_64 random(GetParam() ? 6 : 7);
  for (int i = 0; i < 60000; ++i) {
    const std::uint64_t key = someKey(random, GetParam());
    Pending& p = model[key];
    MrpAttrDatabase* record = types.any(key);
    ASSERT_EQ(types.visible(key) != nullptr, p.visible());
    ASSERT_EQ(types.mrpAttributeHas(key), p.committed);
    switch (random() % 5) {
      case 0:  // add, or revive
        if (p.committed && p.remove) {
          types.pendingDeleteDel(*record);
          p.remove = false;
        } else if (!p.visible()) {
          types.pendingAddIs(key);
          p.add = true;
        }
        break;
      case 1:  // delete
        if (p.add) {
          types.pendingAddDel(*record);
          p.add = false;
        } else if (p.committed) {
          types.pendingDeleteIs(*record);
          p.remove = true;
        }
        break;
      case 2:  // review of one addition
        if (p.add) {
          types.commit(*record);
          p = {.committed = true};
        }
        break;
      case 3:  // review of one deletion
        if (p.remove) {
          types.mrpAttributeDel(key);
          p = {};
        }
        break;
      default:
        if (random() % 8 == 0) {
          types.mrpAttributeIs(key);
          p = {.committed = true, .remove = p.remove && p.committed};
        }
        break;
    }
    if (i % 500 == 0) expectAgreement();
    if (i % 20000 == 19999) {
      types.pendingDelAll();
      for (auto& [k, pending] : model) pending.add = pending.remove = false;
      expectAgreement();
    }
  }
}

}  // namespace
}  // namespace EngineTest

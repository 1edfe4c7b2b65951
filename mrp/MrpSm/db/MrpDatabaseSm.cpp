#include "mrp/MrpSm/db/MrpDatabaseSm.h"

#include <utility>

#include "mrp/MrpSm/db/Records.h"

namespace Mrp {
namespace {

const Platform::ReviewTimer::Parameters kReview{
    .fillInterval = 1.0, .maxCredits = 4, .minDelay = 0.1, .maxDelay = 0.1};
const Seconds kCloggedRetry{0.1};

// Calls `commit(types, record)` for every record of the set in the order of port, type and key, for
// as long as `mayGoOn()` says yes.
template <class Commit, class MayGoOn>
bool commitInOrder(MrpApplicationDatabase& database, AttrTable::Set set, Commit commit,
                   MayGoOn mayGoOn) {
  bool goesOn = true;
  database.walkTypes([&](MrpIntfTypeApplicant& types) {
    goesOn = types.walk(set, [&](MrpAttrDatabase& record) {
      if (!mayGoOn()) return false;
      commit(types, record);
      return true;
    });
    return goesOn;
  });
  return goesOn;
}

}  // namespace

MrpDatabaseSm::MrpDatabaseSm(const Environment& env, Records& records,
                             Platform::Ptr<MrpAttrLogSm> attrLogSm,
                             Platform::Ptr<Platform::Clock> clock, const char* name)
    : env_(env),
      records_(records),
      attrLogSm_(std::move(attrLogSm)),
      clock_(std::move(clock)),
      name_(name),
      reviewTimer_(*clock_, kReview),
      retry_(*clock_) {
  reviewTimer_.bind<&MrpDatabaseSm::doReview>(this);
  retry_.bind<&MrpDatabaseSm::doReview>(this);
}

void MrpDatabaseSm::handleInitialized() { initialized_ = true; }

void MrpDatabaseSm::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  if (active && std::exchange(missed_, false)) doUpdateReviewTimer();
}

void MrpDatabaseSm::askForReview() {
  MRP_TRACE(env_.trace, 8, name_ << "::doUpdateReviewTimer()");
  if (!reviewTimer_.reviewPending() && pending()) reviewTimer_.doUpdateNextReview();
}

void MrpDatabaseSm::doReview() {
  if (!initialized_) return;
  missed_ = !hasNotificationActive();
  if (missed_) return;
  MRP_TRACE(env_.trace, 8, name_ << "::doReview()");
  if (!commitAll()) {
    retry_.dueIs(clock_->now() + kCloggedRetry);
    return;
  }
  lastReview_ = clock_->now();
  doUpdateReviewTimer();
}

MrpDatabaseAddSm::MrpDatabaseAddSm(const Environment& env, Records& records,
                                   Platform::Ptr<MrpAttrLogSm> attrLogSm,
                                   Platform::Ptr<Platform::Clock> clock)
    : MrpDatabaseSm(env, records, std::move(attrLogSm), std::move(clock), "MrpDatabaseAddSm") {
  handleInitialized();
}

bool MrpDatabaseAddSm::pending() const { return records_.hasPendingAdds(); }

bool MrpDatabaseAddSm::commitAll() {
  return commitInOrder(
      env_.database, AttrTable::kPendingAdd,
      [this](auto& types, auto& record) { records_.commitAdd(types, record); },
      [this] { return mayGoOn(); });
}

MrpDatabaseDeleteSm::MrpDatabaseDeleteSm(const Environment& env, Records& records,
                                         Platform::Ptr<MrpAttrLogSm> attrLogSm,
                                         Platform::Ptr<Platform::Clock> clock)
    : MrpDatabaseSm(env, records, std::move(attrLogSm), std::move(clock), "MrpDatabaseDeleteSm") {
  handleInitialized();
  doUpdateReviewTimer();
}

bool MrpDatabaseDeleteSm::pending() const { return records_.hasPendingDeletes(); }

bool MrpDatabaseDeleteSm::commitAll() {
  return commitInOrder(
      env_.database, AttrTable::kPendingDelete,
      [this](auto& types, auto& record) { records_.commitDelete(types, record); },
      [this] { return mayGoOn(); });
}

}  // namespace Mrp

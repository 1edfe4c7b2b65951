#include "mrp/MrpSm/db/MrpDatabaseSm.h"

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {
namespace {

const Platform::ReviewTimer::Parameters kReview{
    .fillInterval = 1.0, .maxCredits = 4, .minDelay = 0.1, .maxDelay = 0.1};
const Seconds kCloggedRetry{0.1};

// Calls `commit(types, record)` for every record that `next(types, from)` gives, in the order of
// port, type and key, for as long as `mayGoOn()` says yes.
template <class Next, class Commit, class MayGoOn>
bool commitInOrder(MrpApplicationDatabase& database, Next next, Commit commit, MayGoOn mayGoOn) {
  bool goesOn = true;
  database.attrDatabase().walk([&](IntfId, MrpIntfApplicant& port) {
    for (std::size_t type = 0; goesOn && type < port.typeLimit(); ++type) {
      MrpIntfTypeApplicant* types = port.intfTypeApplicant(static_cast<std::uint8_t>(type));
      MrpAttrDatabase* record = types ? next(*types, 0) : nullptr;
      while (record) {
        if (!mayGoOn()) {
          goesOn = false;
          return;
        }
        const std::uint64_t key = record->attributeKey();
        commit(*types, *record);
        record = key == UINT64_MAX ? nullptr : next(*types, key + 1);
      }
    }
  });
  return goesOn;
}

}  // namespace

MrpDatabaseSm::MrpDatabaseSm(MrpSm& mrpSm, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                             Platform::Ptr<Platform::Clock> clock, const char* name)
    : mrpSm_(mrpSm),
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
  if (active && !retry_.armed()) doUpdateReviewTimer();
}

void MrpDatabaseSm::doUpdateReviewTimer() {
  MRP_TRACE(mrpSm_.trace(), 8, name_ << "::doUpdateReviewTimer()");
  if (!reviewTimer_.reviewPending() && pending()) reviewTimer_.doUpdateNextReview();
}

void MrpDatabaseSm::doReview() {
  if (!initialized_ || !hasNotificationActive()) return;
  MRP_TRACE(mrpSm_.trace(), 8, name_ << "::doReview()");
  if (!commitAll()) {
    retry_.dueIs(clock_->now() + kCloggedRetry);
    return;
  }
  lastReview_ = clock_->now();
  doUpdateReviewTimer();
}

MrpDatabaseAddSm::MrpDatabaseAddSm(MrpSm& mrpSm, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                                   Platform::Ptr<Platform::Clock> clock)
    : MrpDatabaseSm(mrpSm, std::move(attrLogSm), std::move(clock), "MrpDatabaseAddSm") {
  handleInitialized();
}

bool MrpDatabaseAddSm::pending() const { return mrpSm_.hasPendingAdds(); }

bool MrpDatabaseAddSm::commitAll() {
  return commitInOrder(
      *mrpSm_.applicationDatabase(),
      [](MrpIntfTypeApplicant& types, std::uint64_t from) {
        return types.pendingAddAtOrAbove(from);
      },
      [this](MrpIntfTypeApplicant& types, MrpAttrDatabase& record) {
        mrpSm_.createEntryInDatabase(types, record);
      },
      [this] { return mayGoOn(); });
}

MrpDatabaseDeleteSm::MrpDatabaseDeleteSm(MrpSm& mrpSm, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                                         Platform::Ptr<Platform::Clock> clock)
    : MrpDatabaseSm(mrpSm, std::move(attrLogSm), std::move(clock), "MrpDatabaseDeleteSm") {
  handleInitialized();
  doUpdateReviewTimer();
}

bool MrpDatabaseDeleteSm::pending() const { return mrpSm_.hasPendingDeletes(); }

bool MrpDatabaseDeleteSm::commitAll() {
  return commitInOrder(
      *mrpSm_.applicationDatabase(),
      [](MrpIntfTypeApplicant& types, std::uint64_t from) {
        return types.pendingDeleteAtOrAbove(from);
      },
      [this](MrpIntfTypeApplicant& types, MrpAttrDatabase& record) {
        mrpSm_.deleteEntryInDatabase(types, record);
      },
      [this] { return mayGoOn(); });
}

}  // namespace Mrp

#pragma once

#include "mrp/MrpSm/db/MrpAttrLogSm.h"
#include "platform/time/ReviewTimer.h"

namespace Mrp {

// Commits pending changes of the attribute database in batches: when its review timer says so, and
// only as far as the attribute log keeps up.
class MrpDatabaseSm : public Platform::Entity {
 public:
  // What came due while notifications were off is asked for when they come on again.
  void hasNotificationActiveIs(bool active) override;
  // Asks the review timer for a review when one is needed.
  void doUpdateReviewTimer();
  void doReview();
  // When a review last ran to its end.
  Platform::Seconds lastReview() const { return lastReview_; }

 protected:
  MrpDatabaseSm(MrpSm& mrpSm, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                Platform::Ptr<Platform::Clock> clock, const char* name);
  void handleInitialized();

  virtual bool pending() const = 0;
  // Commits one after the other, asking `mayGoOn` before each; false when that stopped it.
  virtual bool commitAll() = 0;
  bool mayGoOn() { return !attrLogSm_->isAttrLogOutClogged(); }

  MrpSm& mrpSm_;

 private:
  Platform::Ptr<MrpAttrLogSm> attrLogSm_;
  Platform::Ptr<Platform::Clock> clock_;
  const char* name_;
  bool initialized_ = false;
  Platform::ReviewTimer reviewTimer_;
  Platform::Alarm retry_;
  Platform::Seconds lastReview_;
};

class MrpDatabaseAddSm final : public MrpDatabaseSm {
 public:
  MrpDatabaseAddSm(MrpSm& mrpSm, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                   Platform::Ptr<Platform::Clock> clock);

 private:
  bool pending() const override;
  bool commitAll() override;
};

class MrpDatabaseDeleteSm final : public MrpDatabaseSm {
 public:
  MrpDatabaseDeleteSm(MrpSm& mrpSm, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                      Platform::Ptr<Platform::Clock> clock);

 private:
  bool pending() const override;
  bool commitAll() override;
};

}  // namespace Mrp

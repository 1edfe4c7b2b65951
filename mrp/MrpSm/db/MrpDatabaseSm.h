#pragma once

#include "mrp/MrpSm/db/MrpAttrLogSm.h"
#include "mrp/MrpSm/env/Environment.h"
#include "platform/time/ReviewTimer.h"

namespace Mrp {

class Records;

// Commits pending changes of the attribute database in batches: when its review timer says so, and
// only as far as the attribute log keeps up.
class MRP_API MrpDatabaseSm : public Platform::Entity {
 public:
  // A review that came due while notifications were off is asked for when they come on again.
  void hasNotificationActiveIs(bool active) override;
  // Asks the review timer for a review when one is needed.
  void doUpdateReviewTimer() {
    if (!asked()) askForReview();
  }
  // A review is to come already, and nobody wants to read that another one was asked for.
  bool asked() const { return reviewTimer_.reviewPending() && !env_.trace.isOn(8); }
  void doReview();
  // When a review last ran to its end.
  Platform::Seconds lastReview() const { return lastReview_; }

 protected:
  MrpDatabaseSm(const Environment& env, Records& records, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                Platform::Ptr<Platform::Clock> clock, const char* name);
  void handleInitialized();

  virtual bool pending() const = 0;
  // Commits one after the other, asking `mayGoOn` before each; false when that stopped it.
  virtual bool commitAll() = 0;
  bool mayGoOn() { return !attrLogSm_->isAttrLogOutClogged(); }

  const Environment& env_;
  Records& records_;

 private:
  void askForReview();

  Platform::Ptr<MrpAttrLogSm> attrLogSm_;
  Platform::Ptr<Platform::Clock> clock_;
  const char* name_;
  bool initialized_ = false;
  bool missed_ = false;  // a review came due while notifications were off
  Platform::ReviewTimer reviewTimer_;
  Platform::Alarm retry_;
  Platform::Seconds lastReview_;
};

class MRP_API MrpDatabaseAddSm final : public MrpDatabaseSm {
 public:
  MrpDatabaseAddSm(const Environment& env, Records& records, Platform::Ptr<MrpAttrLogSm> attrLogSm,
                   Platform::Ptr<Platform::Clock> clock);

 private:
  bool pending() const override;
  bool commitAll() override;
};

class MRP_API MrpDatabaseDeleteSm final : public MrpDatabaseSm {
 public:
  MrpDatabaseDeleteSm(const Environment& env, Records& records,
                      Platform::Ptr<MrpAttrLogSm> attrLogSm, Platform::Ptr<Platform::Clock> clock);

 private:
  bool pending() const override;
  bool commitAll() override;
};

}  // namespace Mrp

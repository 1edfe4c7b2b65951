#pragma once

#include "mrp/MrpSm/MrpObserver.h"

namespace Mrp::Accounts {

// Tells two observers what an engine tells one. Either may be null.
class ObserverPair final : public MrpObserver {
 public:
  ObserverPair() = default;
  ObserverPair(MrpObserver* first, MrpObserver* second) : first_(first), second_(second) {}

  void frame(const Frame& fact) override { tell(&MrpObserver::frame, fact); }
  void event(const Event& fact) override { tell(&MrpObserver::event, fact); }
  void transition(const Transition& fact) override { tell(&MrpObserver::transition, fact); }
  void discard(const Discard& fact) override { tell(&MrpObserver::discard, fact); }
  void timer(const Timer& fact) override { tell(&MrpObserver::timer, fact); }
  void committed(const Commit& fact) override { tell(&MrpObserver::committed, fact); }

 private:
  template <class Fact>
  void tell(void (MrpObserver::*of)(const Fact&), const Fact& fact) {
    if (first_) (first_->*of)(fact);
    if (second_) (second_->*of)(fact);
  }

  MrpObserver* first_ = nullptr;
  MrpObserver* second_ = nullptr;
};

}  // namespace Mrp::Accounts

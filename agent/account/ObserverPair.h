#pragma once

#include "mrp/MrpSm/MrpObserver.h"

namespace Mrp::Accounts {

// Tells two observers what an engine tells one. Either may be null. Where their classes are final
// the compiler sees what each of them makes of a fact: most are told of every event of every frame,
// and care for few.
template <class First, class Second>
class ObserverPair final : public MrpObserver {
 public:
  ObserverPair() = default;
  ObserverPair(First* first, Second* second) : first_(first), second_(second) {}

  bool wantsIdle() const override {
    return (first_ && first_->wantsIdle()) || (second_ && second_->wantsIdle());
  }
  void frame(const Frame& fact) override {
    if (first_) first_->frame(fact);
    if (second_) second_->frame(fact);
  }
  void event(const Event& fact) override {
    if (first_) first_->event(fact);
    if (second_) second_->event(fact);
  }
  void transition(const Transition& fact) override {
    if (first_) first_->transition(fact);
    if (second_) second_->transition(fact);
  }
  void discard(const Discard& fact) override {
    if (first_) first_->discard(fact);
    if (second_) second_->discard(fact);
  }
  void timer(const Timer& fact) override {
    if (first_) first_->timer(fact);
    if (second_) second_->timer(fact);
  }
  void committed(const Commit& fact) override {
    if (first_) first_->committed(fact);
    if (second_) second_->committed(fact);
  }

 private:
  First* first_ = nullptr;
  Second* second_ = nullptr;
};

}  // namespace Mrp::Accounts

#include "platform/reactor/Signal.h"

namespace Platform {

void ReactorLink::watchIn(SignalBase& signal) { signal.link(*this); }

void ReactorLink::unwatch() {
  if (signal_) signal_->unlink(*this);
}

SignalBase::~SignalBase() {
  for (Walk* walk = walk_; walk; walk = walk->outer_) {
    walk->signal_ = nullptr;
    walk->next_ = nullptr;
  }
  while (first_) unlink(*first_);
}

void SignalBase::link(ReactorLink& reactor) {
  reactor.signal_ = this;
  reactor.prev_ = last_;
  reactor.next_ = nullptr;
  (last_ ? last_->next_ : first_) = &reactor;
  last_ = &reactor;
}

void SignalBase::unlink(ReactorLink& reactor) {
  for (Walk* walk = walk_; walk; walk = walk->outer_) {
    if (walk->last_ == &reactor) walk->last_ = reactor.prev_;
    if (walk->next_ == &reactor) {
      walk->next_ = walk->last_ == reactor.prev_ ? nullptr : reactor.next_;
    }
  }
  (reactor.prev_ ? reactor.prev_->next_ : first_) = reactor.next_;
  (reactor.next_ ? reactor.next_->prev_ : last_) = reactor.prev_;
  reactor.signal_ = nullptr;
  reactor.prev_ = reactor.next_ = nullptr;
}

SignalBase::Walk::Walk(SignalBase& signal)
    : signal_(&signal), next_(signal.first_), last_(signal.last_), outer_(signal.walk_) {
  signal.walk_ = this;
}

SignalBase::Walk::~Walk() {
  if (signal_) signal_->walk_ = outer_;
}

ReactorLink* SignalBase::Walk::next() {
  ReactorLink* current = next_;
  if (current) next_ = current == last_ ? nullptr : current->next_;
  return current;
}

}  // namespace Platform

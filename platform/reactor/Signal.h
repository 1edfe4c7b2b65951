#pragma once

#include "platform/Export.h"

namespace Platform {

class SignalBase;

// Link of a reactor in the signal that it watches.
class MRP_API ReactorLink {
 public:
  ReactorLink(const ReactorLink&) = delete;
  ReactorLink& operator=(const ReactorLink&) = delete;

  bool watching() const { return signal_ != nullptr; }
  // Stops watching. Legal at any time, from inside the reactor's own callback too.
  void unwatch();

 protected:
  ReactorLink() = default;
  ~ReactorLink() { unwatch(); }
  void watchIn(SignalBase& signal);

 private:
  friend class SignalBase;
  SignalBase* signal_ = nullptr;
  ReactorLink* prev_ = nullptr;
  ReactorLink* next_ = nullptr;
};

// The list of reactors of one watched attribute, and the walks that are notifying it right now.
class MRP_API SignalBase {
 public:
  SignalBase(const SignalBase&) = delete;
  SignalBase& operator=(const SignalBase&) = delete;

  bool watched() const { return first_ != nullptr; }

 protected:
  SignalBase() = default;
  ~SignalBase();

  // One notification in progress. It survives the removal of any reactor, its own included, and
  // the destruction of the signal; reactors added meanwhile wait for the next notification.
  class MRP_API Walk {
   public:
    explicit Walk(SignalBase& signal);
    ~Walk();
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ReactorLink* next();

   private:
    friend class SignalBase;
    SignalBase* signal_;
    ReactorLink* next_;
    ReactorLink* last_;
    Walk* outer_;
  };

 private:
  friend class ReactorLink;
  void link(ReactorLink& reactor);
  void unlink(ReactorLink& reactor);

  ReactorLink* first_ = nullptr;
  ReactorLink* last_ = nullptr;
  Walk* walk_ = nullptr;
};

template <class... Key>
class Reactor;

// A change of one attribute; `Key` names the member of a collection that changed.
template <class... Key>
class Signal : public SignalBase {
 public:
  void notify(Key... key);
};

// Calls one member function of its owner at every change of the attribute it watches, until it is
// destroyed. Destroying or re-targeting it from inside that call is legal.
template <class... Key>
class Reactor : public ReactorLink {
 public:
  template <auto Method, class T>
  void watch(Signal<Key...>& signal, T* owner) {
    unwatch();
    owner_ = owner;
    call_ = [](void* self, Key... key) { (static_cast<T*>(self)->*Method)(key...); };
    watchIn(signal);
  }

 private:
  friend class Signal<Key...>;
  void* owner_ = nullptr;
  void (*call_)(void*, Key...) = nullptr;
};

template <class... Key>
void Signal<Key...>::notify(Key... key) {
  if (!watched()) return;
  Walk walk(*this);
  while (ReactorLink* link = walk.next()) {
    auto* reactor = static_cast<Reactor<Key...>*>(link);
    reactor->call_(reactor->owner_, key...);
  }
}

}  // namespace Platform

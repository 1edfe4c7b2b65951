#pragma once

#include "platform/reactor/Attributes.h"
#include "platform/reactor/Ptr.h"
#include "platform/reactor/Signal.h"

namespace Platform {

// A reference-counted object with typed attributes. Accessor pattern: `x()` reads, `xIs(v)` writes
// or creates, `xDel()` removes, `xHas(k)` asks; writing the value already held is no change and
// notifies nobody. A watched attribute has a Signal member named `onX`.
class MRP_API Entity : public PtrInterface {
 public:
  // While off, the entity's own reactors and timers do nothing. Off at first.
  bool hasNotificationActive() const { return hasNotificationActive_; }
  virtual void hasNotificationActiveIs(bool active) { hasNotificationActive_ = active; }

  // The entity and its attributes as data, for tools.
  virtual Described describe() const { return {}; }

 private:
  bool hasNotificationActive_ = false;
};

}  // namespace Platform

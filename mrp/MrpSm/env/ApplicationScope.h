#pragma once

#include "mrp/MrpSm/env/Environment.h"

namespace Mrp {

// Held while the application may run: it may call the service from inside an indication and from
// inside a transmission, and what it then leaves in the engine's scratch state is undone. Which of
// the value records are put back is the caller's matter.
class ApplicationScope {
 public:
  enum class Keeps : std::uint8_t { receiveRecords, allRecords };

  ApplicationScope(const Environment& env, Keeps keeps)
      : env_(env),
        keeps_(keeps),
        current_(env.current()),
        event_(env.context->attributeEvent()),
        values_(env.values) {}
  ~ApplicationScope() {
    env_.contextIs(current_.intfId, current_.attributeType, current_.attributeKey);
    env_.context->attributeEventIs(event_);
    values_.restoreRx(env_.values);
    if (keeps_ == Keeps::allRecords) values_.restoreTx(env_.values);
  }
  ApplicationScope(const ApplicationScope&) = delete;
  ApplicationScope& operator=(const ApplicationScope&) = delete;

  // The current attribute and the event received last.
  MrpParameters parameters() const {
    return {.intfId = current_.intfId,
            .attributeType = current_.attributeType,
            .attributeEvent = event_};
  }

 private:
  const Environment& env_;
  Keeps keeps_;
  MrpAttribute current_;
  std::uint8_t event_;
  ValueRecords::Saved values_;
};

}  // namespace Mrp

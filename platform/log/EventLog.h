#pragma once

#include <string>
#include <string_view>

#include "platform/reactor/Ptr.h"

namespace Platform {

// A kind of event-log message. `format` shows where its fields go: "%s" texts, "%d" numbers.
struct EventLogHandle {
  std::string_view name;
  std::string_view summary;
  std::string_view format;
};

// Where messages for the switch's operator go.
class MRP_API EventLog : public PtrInterface {
 public:
  // False when nobody would see the message, so that its text need not be built.
  virtual bool isOn(const EventLogHandle& handle) const = 0;
  virtual void message(const EventLogHandle& handle, std::string text) = 0;
};

}  // namespace Platform

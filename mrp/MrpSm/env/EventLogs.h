#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "platform/log/EventLog.h"

namespace Mrp {

// The engine's event-log messages.
inline constexpr Platform::EventLogHandle kMrpError{"MRP_ERROR", "MRP error occurred", "%s"};
inline constexpr Platform::EventLogHandle kMrpJoin{
    "MRP_JOIN", "MRP Join was received on an interface",
    "MRP Join received on %s, attrType: %s, key: %s, state: %s, event: %s"};
inline constexpr Platform::EventLogHandle kMrpLv{
    "MRP_LV", "MRP Lv was handled on an interface",
    "MRP Lv %s on %s, attrType: %s, key: %s, state: %s, event: %s"};

inline std::string fieldText(std::string_view text) { return std::string(text); }
template <std::integral T>
std::string fieldText(T number) {
  return std::to_string(number);
}

// Fills the fields of `format` ("%s", "%d") with the texts of `fields`, in order.
template <class... Fields>
std::string formatText(std::string_view format, const Fields&... fields) {
  const std::string texts[] = {fieldText(fields)...};
  std::string out;
  std::size_t field = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] == '%' && field < sizeof...(fields)) {
      out += texts[field++];
      ++i;
    } else {
      out += format[i];
    }
  }
  return out;
}

// Writes a message; `build` makes its text, and only when somebody reads it.
template <class Build>
void logEvent(Platform::EventLog& log, const Platform::EventLogHandle& handle, Build build) {
  if (log.isOn(handle)) log.message(handle, build());
}

}  // namespace Mrp

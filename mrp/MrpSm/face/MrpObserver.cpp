#include "mrp/MrpSm/MrpObserver.h"

#include <array>

namespace Mrp {

const char* stringValue(MrpObserver::Reason reason) {
  static constexpr std::array names{"destination",
                                    "EtherType",
                                    "standby",
                                    "version",
                                    "malformed",
                                    "unknown application",
                                    "unknown attribute type",
                                    "recycled",
                                    "port closed",
                                    "attribute limit",
                                    "out of memory",
                                    "join discarded",
                                    "no endpoint",
                                    "no packet",
                                    "suppressed"};
  const auto number = static_cast<std::size_t>(reason);
  return number < names.size() ? names[number] : "unknown";
}

}  // namespace Mrp

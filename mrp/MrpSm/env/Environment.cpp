#include "mrp/MrpSm/env/Environment.h"

namespace Mrp {

void Environment::eventSent(const MrpAttribute& attribute, std::uint8_t event) const {
  observe(&MrpObserver::event, MrpObserver::Event{MrpObserver::Direction::sent,
                                                  event == kLeaveAllEvent, event, attribute});
}

}  // namespace Mrp

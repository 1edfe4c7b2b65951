#include "platform/reactor/Ptr.h"

namespace Platform {

PtrInterface::~PtrInterface() = default;

void PtrInterface::onZeroRefs() { delete this; }

}  // namespace Platform

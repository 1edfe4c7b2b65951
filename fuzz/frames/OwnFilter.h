#pragma once

#include "fuzz/frames/SentFrame.h"
#include "platform/state/EntityManager.h"

namespace Fuzz {

// The state database of a switch, whose endpoints run the socket filter of `protocol`. A process
// keeps the filter of its first engine and runs of both applications take turns here, so the
// constants of the first run's application in the program are exchanged for this run's. Whole
// frames of either application thus pass the program that the engine asked for. `open` endpoints
// take every frame instead, so that the engine itself must refuse what is not meant for it.
Platform::Ptr<Platform::EntityManager> withOwnFilter(Platform::Ptr<Platform::EntityManager> inner,
                                                     const Protocol& protocol, bool open);

}  // namespace Fuzz

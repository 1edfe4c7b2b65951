// Frames, requests, times and failures in any order, to one engine on a switch of three ports. The
// application calls the service back from inside its indications. After each step the databases and
// the frames that were sent must be sound; at the end, with nobody declaring anything any more,
// every registration must age out and every record must go.

#include <cstdint>
#include <cstdlib>

#include "fuzz/frames/World.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The same input, the same run.
  static const int fixed = ::setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
  static_cast<void>(fixed);
  Fuzz::Input input(data, size);
  Fuzz::World(input).run();
  return 0;
}

#include "platform/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Platform {

void assertionFailed(const char* text, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, text);
  std::abort();
}

}  // namespace Platform

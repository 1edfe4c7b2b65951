#pragma once

#include "platform/Export.h"

namespace Platform {

// Reports `text` on standard error and aborts. For our own mistakes only: nothing that a peer or
// an operator can send may lead here.
[[noreturn]] MRP_API void assertionFailed(const char* text, const char* file, int line);

}  // namespace Platform

// Checked in every build type. `text` is the assertion's published wording.
#define MRP_ASSERT_TEXT(condition, text)        \
  (__builtin_expect(!!(condition), 1) ? void(0) \
                                      : ::Platform::assertionFailed(text, __FILE__, __LINE__))
#define MRP_ASSERT(condition) MRP_ASSERT_TEXT(condition, #condition)

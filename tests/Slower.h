#pragma once

// Under the sanitizers everything takes some ten times as long: what a test repeats with other
// numbers it repeats so many times less. What they look for needs no more.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr unsigned kSlower = 10;
#else
inline constexpr unsigned kSlower = 1;
#endif

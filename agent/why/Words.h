#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "agent/account/Record.h"

namespace Mrp::Why {

// "12.600000", with nine digits where it takes them.
std::string timeName(Platform::Seconds time);

// What records hold by number, as people call it.
struct Names {
  // A time on the engine's clock.
  std::function<std::string(Platform::Seconds)> clock = timeName;
  std::function<std::string(std::uint32_t)> user = [](std::uint32_t number) {
    return "user " + std::to_string(number);
  };
  // The empty identifier where it is not known.
  std::function<IntfId(std::uint64_t)> port = [](std::uint64_t) { return IntfId(); };
};

// A record in words, without its time, port and attribute: "registered: JoinIn received".
std::string wordsOf(const Accounts::Record& record, const Names& names);

}  // namespace Mrp::Why

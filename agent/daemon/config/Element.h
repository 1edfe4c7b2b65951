#pragma once

#include <string>
#include <variant>
#include <vector>

#include "agent/daemon/config/Keys.h"

namespace Daemon {

struct OtherType {};  // a value that no key takes
// A number of one class, of a list of them.
struct ClassNumber {
  std::uint8_t id = 0;
  std::int64_t number = 0;
};

// One value as it was written, whatever key it is for.
struct Element {
  std::variant<OtherType, bool, std::int64_t, double, std::string, SrClass, ClassNumber> value;
  std::string where;  // "FILE:LINE" or "--NAME"
};

// What stands behind a key: one value, or an array of them.
struct Written {
  bool isArray = false;  // or a table of numbers by class
  std::vector<Element> elements;
  std::string where;
};

// The value that is meant. Where it is not one that the key allows nothing is returned, and
// `wrong` says where.
std::optional<Value> valueOf(const Key& key, const Written& written, std::string& wrong);
// An option's texts as the key's type reads them.
Written writtenOf(const Key& key, const std::string& option, const std::vector<std::string>& texts);

}  // namespace Daemon

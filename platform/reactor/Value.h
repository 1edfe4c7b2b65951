#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Export.h"

namespace Platform {

struct AttributeInfo;

// An object together with the description of its attributes. Does not own the object.
struct Described {
  std::string_view typeName;
  const void* object = nullptr;
  std::span<const AttributeInfo> attributes;
};

// What an attribute reads as outside the program: a scalar, octets, a nested object or a keyed
// collection. Times are seconds; octets are in wire order.
class Value {
 public:
  using Octets = std::vector<std::uint8_t>;
  using Members = std::vector<std::pair<Value, Value>>;

  Value() = default;
  Value(bool v) : v_(v) {}
  Value(std::uint64_t v) : v_(v) {}
  Value(std::int64_t v) : v_(v) {}
  Value(double v) : v_(v) {}
  Value(std::string v) : v_(std::move(v)) {}
  Value(const char* v) : v_(std::string(v)) {}
  Value(Octets v) : v_(std::move(v)) {}
  Value(Described v) : v_(v) {}
  Value(Members v) : v_(std::move(v)) {}

  template <class T>
  const T* as() const {
    return std::get_if<T>(&v_);
  }
  bool isNone() const { return std::holds_alternative<std::monostate>(v_); }

 private:
  std::variant<std::monostate, bool, std::uint64_t, std::int64_t, double, std::string, Octets,
               Described, Members>
      v_;
};

}  // namespace Platform

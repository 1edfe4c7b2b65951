#include "platform/interface/IntfId.h"

#include <deque>
#include <unordered_map>

namespace Platform {
namespace {

// Names only ever come from configuration, so the table stays small; entries are never changed.
struct NameTable {
  std::deque<std::string> names{""};
  std::unordered_map<std::string_view, std::uint64_t> values{{names.front(), 0}};
};

NameTable& nameTable() {
  static NameTable table;
  return table;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Takes the run of digits at the front of `text`, without its leading zeros.
std::string_view takeNumber(std::string_view& text) {
  while (!text.empty() && text.front() == '0') text.remove_prefix(1);
  std::size_t n = 0;
  while (n < text.size() && isDigit(text[n])) ++n;
  std::string_view digits = text.substr(0, n);
  text.remove_prefix(n);
  return digits;
}

}  // namespace

std::strong_ordering naturalOrder(std::string_view a, std::string_view b) {
  std::string_view x = a;
  std::string_view y = b;
  while (!x.empty() && !y.empty()) {
    if (isDigit(x.front()) && isDigit(y.front())) {
      std::string_view m = takeNumber(x);
      std::string_view n = takeNumber(y);
      if (m.size() != n.size()) return m.size() <=> n.size();
      if (auto order = m.compare(n); order != 0) return order <=> 0;
      continue;
    }
    if (x.front() != y.front()) {
      return static_cast<unsigned char>(x.front()) <=> static_cast<unsigned char>(y.front());
    }
    x.remove_prefix(1);
    y.remove_prefix(1);
  }
  if (x.size() != y.size()) return x.size() <=> y.size();
  return a.compare(b) <=> 0;
}

IntfId::IntfId(std::string_view name) {
  NameTable& table = nameTable();
  if (auto it = table.values.find(name); it != table.values.end()) {
    value_ = it->second;
    return;
  }
  value_ = table.names.size();
  table.names.emplace_back(name);
  table.values.emplace(table.names.back(), value_);
}

const std::string& IntfId::name() const {
  return nameTable().names[static_cast<std::size_t>(value_)];
}

std::strong_ordering IntfId::compareNames(IntfId a, IntfId b) {
  return naturalOrder(a.name(), b.name());
}

std::ostream& operator<<(std::ostream& out, IntfId intf) { return out << intf.name(); }

}  // namespace Platform

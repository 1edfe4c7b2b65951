#include "mrp/types/TextForm.h"

#include <algorithm>
#include <charconv>

namespace Mrp {
namespace {

bool isLetterOrDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

}  // namespace

bool TextReader::take(std::string_view literal) {
  if (!rest_.starts_with(literal)) return false;
  rest_.remove_prefix(literal.size());
  return true;
}

std::optional<std::uint64_t> TextReader::number(std::uint64_t max) {
  std::uint64_t value = 0;
  auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), value);
  if (error != std::errc{} || value > max) return std::nullopt;
  rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
  return value;
}

std::optional<std::string_view> TextReader::characters(std::size_t n) {
  if (rest_.size() < n) return std::nullopt;
  const std::string_view taken = rest_.substr(0, n);
  rest_.remove_prefix(n);
  return taken;
}

std::string_view TextReader::word() {
  const auto end = std::find_if_not(rest_.begin(), rest_.end(), isLetterOrDigit);
  const std::string_view taken = rest_.substr(0, static_cast<std::size_t>(end - rest_.begin()));
  rest_.remove_prefix(taken.size());
  return taken;
}

}  // namespace Mrp

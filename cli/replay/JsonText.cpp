#include "cli/replay/JsonText.h"

#include <charconv>
#include <cmath>

namespace Cli {
namespace {

using Json = nlohmann::ordered_json;

void append(std::string& out, const Json& json);

void appendNumber(std::string& out, double number) {
  const double size = std::abs(number);
  const bool plain = size == 0 || (size >= 1e-4 && size < 1e16);
  char text[40];
  const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
  const auto end = std::to_chars(text, text + sizeof text, number, format).ptr;
  const std::string_view digits(text, static_cast<std::size_t>(end - text));
  out += digits;
  if (plain && digits.find('.') == std::string_view::npos) out += ".0";
}

void appendString(std::string& out, const Json& json) {
  out += json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void appendObject(std::string& out, const Json& json) {
  char before = '{';
  for (const auto& [key, member] : json.items()) {
    out += before;
    appendString(out, Json(key));
    out += ':';
    append(out, member);
    before = ',';
  }
  out += json.empty() ? "{}" : "}";
}

void appendArray(std::string& out, const Json& json) {
  char before = '[';
  for (const Json& element : json) {
    out += before;
    append(out, element);
    before = ',';
  }
  out += json.empty() ? "[]" : "]";
}

void append(std::string& out, const Json& json) {
  if (json.is_object()) return appendObject(out, json);
  if (json.is_array()) return appendArray(out, json);
  if (json.is_number_float()) return appendNumber(out, json.get<double>());
  appendString(out, json);
}

}  // namespace

std::string jsonText(const Json& json) {
  std::string out;
  append(out, json);
  return out;
}

}  // namespace Cli

#include "agent/rpc/Message.h"

#include <utility>

namespace Rpc {
namespace {

std::string lineOf(const Json& json) { return textOf(json) + '\n'; }

bool isId(const Json& id) { return id.is_string() || id.is_number() || id.is_null(); }

}  // namespace

std::string textOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void ListText::add(const Json& row) {
  if (text_.size() > 1) text_ += ',';
  text_ += textOf(row);
}

std::string ListText::text() && { return std::move(text_ += ']'); }

std::string Error::reason() const {
  const auto reason = data_.find("reason");
  return data_.is_object() && reason != data_.end() && reason->is_string()
             ? reason->get<std::string>()
             : std::string();
}

std::variant<Request, BadRequest> requestFrom(std::string_view line) {
  const Json json = Json::parse(line, nullptr, false);
  if (json.is_discarded()) return BadRequest{nullptr, Error(Code::kParseError, "no JSON")};
  const auto invalid = [](const Json& id, const char* why) {
    return BadRequest{id, Error(Code::kInvalidRequest, why)};
  };
  if (!json.is_object()) return invalid(nullptr, "a request is one object");
  const auto id = json.find("id");
  const bool hasId = id != json.end();
  if (hasId && !isId(*id)) return invalid(nullptr, "\"id\" is a text or a number");
  const Json known = hasId ? *id : Json();
  const auto version = json.find("jsonrpc");
  if (version == json.end() || *version != "2.0") {
    return invalid(known, "\"jsonrpc\" has to be \"2.0\"");
  }
  const auto method = json.find("method");
  if (method == json.end() || !method->is_string()) return invalid(known, "\"method\" is a text");
  Request request{known, hasId, method->get<std::string>()};
  const auto params = json.find("params");
  if (params == json.end()) return request;
  if (params->is_array() && params->empty()) return request;
  if (!params->is_object() && !params->is_array()) {
    return invalid(known, "\"params\" is an object");
  }
  request.params = *params;  // an array is told by the method: it has no parameters by position
  return request;
}

std::string requestLine(const Json& id, const std::string& method, const Json& params) {
  return lineOf({{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}});
}

std::string resultPrefix(const Json& id) {
  return R"({"jsonrpc":"2.0","id":)" + textOf(id) + R"(,"result":)";
}

std::string resultLine(const Json& id, std::string result) {
  return std::move(result.insert(0, resultPrefix(id)).append("}\n"));
}

std::string errorLine(const Json& id, const Error& error) {
  Json told{{"code", error.code()}, {"message", error.what()}};
  if (!error.data().is_null()) told["data"] = error.data();
  return lineOf({{"jsonrpc", "2.0"}, {"id", id}, {"error", std::move(told)}});
}

std::string notificationLine(const std::string& method, const Json& params) {
  return lineOf({{"jsonrpc", "2.0"}, {"method", method}, {"params", params}});
}

}  // namespace Rpc

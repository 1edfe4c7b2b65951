#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

// JSON-RPC 2.0, one object a line.
namespace Rpc {

// Members keep the order in which they were put.
using Json = nlohmann::ordered_json;

namespace Code {
inline constexpr int kParseError = -32700;
inline constexpr int kInvalidRequest = -32600;
inline constexpr int kMethodNotFound = -32601;
inline constexpr int kInvalidParams = -32602;
inline constexpr int kRefused = -32000;
}  // namespace Code

// What a request is answered with when it is not carried out.
class Error : public std::runtime_error {
 public:
  Error(int code, const std::string& message, Json data = nullptr)
      : std::runtime_error(message), code_(code), data_(std::move(data)) {}
  // A request that is understood and refused, for a reason that programs can tell.
  static Error refused(const std::string& reason, const std::string& message) {
    return {Code::kRefused, message, Json{{"reason", reason}}};
  }
  static Error params(const std::string& message) { return {Code::kInvalidParams, message}; }

  int code() const { return code_; }
  const Json& data() const { return data_; }
  // The reason of a refusal; empty when there is none.
  std::string reason() const;

 private:
  int code_;
  Json data_;
};

struct Request {
  Json id;  // null when there is none
  bool answered = true;
  std::string method;
  Json params = Json::object();
};

// A request that is none, and the id to answer with.
struct BadRequest {
  Json id;
  Error error;
};

std::variant<Request, BadRequest> requestFrom(std::string_view line);

// On one line. Names of interfaces need not be UTF-8; what is not is replaced.
std::string textOf(const Json& json);

// A list as its text, to which rows are added one by one. Of tens of thousands no more than one is
// held as an object.
class ListText {
 public:
  void add(const Json& row);
  // The whole list; nothing is added behind it.
  std::string text() &&;

 private:
  std::string text_ = "[";
};

// Each with its line end.
std::string requestLine(const Json& id, const std::string& method, const Json& params);
// What stands before the result in a line of resultLine(); behind it stands one brace.
std::string resultPrefix(const Json& id);
// The result is the text of some JSON, which may be large.
std::string resultLine(const Json& id, std::string result);
std::string errorLine(const Json& id, const Error& error);
std::string notificationLine(const std::string& method, const Json& params);

}  // namespace Rpc

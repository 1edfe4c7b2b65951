#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/daemon/Agent.h"

namespace Daemon {

// The parameters of one request. What is missing or wrong throws Rpc::Error with -32602; what names
// something that is not there, its reason.
class Params {
 public:
  Params(const Agent& agent, const Rpc::Json& params);

  bool has(const char* name) const;
  // None when it is absent or null.
  std::optional<std::string> text(const char* name) const;
  std::string neededText(const char* name) const;
  std::optional<std::int64_t> number(const char* name, std::int64_t least,
                                     std::int64_t most) const;
  std::int64_t neededNumber(const char* name, std::int64_t least, std::int64_t most) const;
  const Rpc::Json& needed(const char* name) const;
  // A set of VLANs: numbers, or texts that are numbers or ranges; at least one.
  std::optional<Mrp::VlanSet> vlans(const char* name) const;

  // A configured port or one that is there, empty for none.
  std::string port() const;
  // Those that are meant: the one that is named, or all that are on.
  std::vector<Instance*> instances() const;
  // The application that the request is about, which must be on and, if it is named, this one.
  Instance& instanceOf(Mrp::MrpApplication application) const;
  Instance& neededInstance() const;

 private:
  const Agent& agent_;
  const Rpc::Json& params_;
};

Mrp::MrpApplication applicationNamed(const std::string& name);

}  // namespace Daemon

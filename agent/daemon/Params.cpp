#include "agent/daemon/Params.h"

#include "agent/daemon/config/VlanRanges.h"

namespace Daemon {

using Rpc::Error;
using Rpc::Json;

Mrp::MrpApplication applicationNamed(const std::string& name) {
  if (name == "mvrp") return Mrp::MrpApplication::mvrp;
  if (name == "msrp") return Mrp::MrpApplication::msrp;
  throw Error::refused("no-such-application", "there are mvrp and msrp");
}

Params::Params(const Agent& agent, const Json& params) : agent_(agent), params_(params) {
  if (!params.is_object()) throw Error::params("parameters have names");
}

bool Params::has(const char* name) const {
  const auto it = params_.find(name);
  return it != params_.end() && !it->is_null();
}

const Json& Params::needed(const char* name) const {
  if (!has(name)) throw Error::params("\"" + std::string(name) + "\" is needed");
  return params_[name];
}

std::optional<std::string> Params::text(const char* name) const {
  if (!has(name)) return std::nullopt;
  const Json& value = params_[name];
  if (!value.is_string()) throw Error::params("\"" + std::string(name) + "\" is a text");
  return value.get<std::string>();
}

std::string Params::neededText(const char* name) const {
  needed(name);
  return *text(name);
}

std::optional<std::int64_t> Params::number(const char* name, std::int64_t least,
                                           std::int64_t most) const {
  if (!has(name)) return std::nullopt;
  const Json& value = params_[name];
  const bool fits = value.is_number_integer() &&
                    !(value.is_number_unsigned() &&
                      value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) &&
                    value.get<std::int64_t>() >= least && value.get<std::int64_t>() <= most;
  if (!fits) {
    throw Error::params("\"" + std::string(name) + "\" is a number, " + std::to_string(least) +
                        " to " + std::to_string(most));
  }
  return value.get<std::int64_t>();
}

std::int64_t Params::neededNumber(const char* name, std::int64_t least, std::int64_t most) const {
  needed(name);
  return *number(name, least, most);
}

std::optional<Mrp::VlanSet> Params::vlans(const char* name) const {
  if (!has(name)) return std::nullopt;
  const Json& list = params_[name];
  const auto wrong = [&] {
    return Error::params("\"" + std::string(name) +
                         "\" is an array of VLANs, 1 to 4094, each a number or a range");
  };
  if (!list.is_array() || list.empty()) throw wrong();
  Mrp::VlanSet vlans;
  for (const Json& item : list) {
    std::optional<Mrp::VlanSet> some;
    if (item.is_string()) some = vlansFrom(item.get_ref<const std::string&>());
    if (item.is_number_integer()) some = vlansFrom(item.dump());
    if (!some) throw wrong();
    vlans |= *some;
  }
  return vlans;
}

std::string Params::port() const {
  const std::string name = text("port").value_or("");
  if (has("port") && !agent_.known(name)) {
    throw Error::refused("no-such-port", "there is no port \"" + name + "\"");
  }
  return name;
}

std::vector<Instance*> Params::instances() const {
  if (has("application")) return {&neededInstance()};
  std::vector<Instance*> all;
  for (const auto& instance : agent_.instances()) all.push_back(instance.get());
  return all;
}

Instance& Params::instanceOf(Mrp::MrpApplication application) const {
  if (const auto name = text("application"); name && applicationNamed(*name) != application) {
    throw Error::params("the application has no such attribute");
  }
  if (Instance* instance = agent_.instance(application)) return *instance;
  throw Error::refused("no-such-application", "the application is off");
}

Instance& Params::neededInstance() const {
  return instanceOf(applicationNamed(neededText("application")));
}

}  // namespace Daemon

#include "platform/linux/PortQueues.h"

#include <linux/pkt_sched.h>
#include <linux/rtnetlink.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "platform/linux/RouteAttributes.h"

namespace Platform::Linux {
namespace {

constexpr std::string_view kClassesKind = "mqprio";
constexpr std::string_view kShaperKind = "cbs";
constexpr std::string_view kPlainKind = "pfifo";

// One queueing discipline as the kernel tells of it.
struct Discipline {
  tcmsg header{};
  std::string_view kind;
  const nlattr* options = nullptr;
};

std::optional<Discipline> parse(const nlmsghdr& message, int index) {
  Discipline d;
  if (message.nlmsg_type != RTM_NEWQDISC || mnl_nlmsg_get_payload_len(&message) < sizeof d.header) {
    return std::nullopt;
  }
  std::memcpy(&d.header, mnl_nlmsg_get_payload(&message), sizeof d.header);
  if (d.header.tcm_ifindex != index) return std::nullopt;
  walkAttributes(message, sizeof d.header, [&](const nlattr* attribute) {
    if (mnl_attr_get_type(attribute) == TCA_KIND) {
      const auto* const text = static_cast<const char*>(mnl_attr_get_payload(attribute));
      d.kind = {text, ::strnlen(text, mnl_attr_get_payload_len(attribute))};
    } else if (mnl_attr_get_type(attribute) == TCA_OPTIONS) {
      d.options = attribute;
    }
  });
  return d;
}

template <class Visit>
void walk(RouteRequests& requests, int index, Visit visit) {
  tcmsg header{};
  header.tcm_ifindex = index;
  RouteMessage request(RTM_GETQDISC, 0, header);
  requests.dump(request, [&](const nlmsghdr& message) {
    if (const auto d = parse(message, index)) visit(*d);
  });
}

void putKind(RouteMessage& message, std::string_view kind) {
  message.put(TCA_KIND, std::string(kind).c_str(), kind.size() + 1);
}

std::uint32_t parentOf(const PortQueues::Classes& classes, std::uint16_t queue) {
  return (classes.handle & TC_H_MAJ_MASK) | (queue + 1u);
}

tcmsg headerOf(int index, std::uint32_t parent) {
  tcmsg header{};
  header.tcm_ifindex = index;
  header.tcm_parent = parent;
  return header;
}

void applyClasses(const Discipline& d, PortQueues::Classes& classes) {
  tc_mqprio_qopt options{};
  if (!d.options || mnl_attr_get_payload_len(d.options) < sizeof options) return;
  std::memcpy(&options, mnl_attr_get_payload(d.options), sizeof options);
  classes.handle = d.header.tcm_handle;
  for (std::size_t priority = 0; priority < PortQueues::kPriorities; ++priority) {
    const std::size_t trafficClass = options.prio_tc_map[priority];
    if (trafficClass >= TC_QOPT_MAX_QUEUE) continue;
    classes.queueOfPriority[priority] = options.offset[trafficClass];
  }
}

std::optional<CreditShaper> shaperOf(const Discipline& d) {
  std::optional<CreditShaper> shaper;
  if (!d.options) return shaper;
  walkNested(d.options, [&](const nlattr* attribute) {
    tc_cbs_qopt options{};
    if (mnl_attr_get_type(attribute) != TCA_CBS_PARMS ||
        mnl_attr_get_payload_len(attribute) < sizeof options) {
      return;
    }
    std::memcpy(&options, mnl_attr_get_payload(attribute), sizeof options);
    shaper = {options.idleslope, options.sendslope, options.hicredit, options.locredit};
  });
  return shaper;
}

}  // namespace

std::optional<PortQueues::Classes> PortQueues::classes(int index) {
  Classes classes;
  std::map<std::uint32_t, CreditShaper> shapers;
  walk(requests_, index, [&](const Discipline& d) {
    if (d.header.tcm_parent == TC_H_ROOT && d.kind == kClassesKind) applyClasses(d, classes);
    if (d.kind != kShaperKind) return;
    if (const auto shaper = shaperOf(d)) shapers[d.header.tcm_parent] = *shaper;
  });
  if (classes.handle == 0) return std::nullopt;
  for (const auto& [parent, shaper] : shapers) {
    const std::uint32_t queue = parent & TC_H_MIN_MASK;
    if ((parent & TC_H_MAJ_MASK) != (classes.handle & TC_H_MAJ_MASK) || queue == 0) continue;
    classes.shapers[static_cast<std::uint16_t>(queue - 1)] = shaper;
  }
  return classes;
}

// The kernel's own have no handle.
bool PortQueues::configured(int index) {
  bool configured = false;
  walk(requests_, index, [&](const Discipline& d) {
    configured |= d.header.tcm_parent == TC_H_ROOT && d.header.tcm_handle != 0;
  });
  return configured;
}

std::optional<RouteError> PortQueues::classesAre(int index, std::uint32_t handle,
                                                 std::uint32_t queues,
                                                 std::initializer_list<std::uint8_t> priorities) {
  const std::size_t shaped = priorities.size();
  if (queues <= shaped) {
    return RouteError{EOPNOTSUPP, "it has " + std::to_string(queues) + " transmit queues, and " +
                                      std::to_string(shaped + 1) + " are needed"};
  }
  std::optional<RouteError> error;
  // An interface may use fewer queues than it has.
  for (const std::size_t rest : {queues - shaped, std::size_t{1}}) {
    tc_mqprio_qopt options{};
    options.num_tc = static_cast<std::uint8_t>(shaped + 1);
    std::memset(options.prio_tc_map, static_cast<int>(shaped), sizeof options.prio_tc_map);
    std::uint8_t trafficClass = 0;
    for (const std::uint8_t priority : priorities) {
      options.prio_tc_map[priority] = trafficClass;
      options.count[trafficClass] = 1;
      options.offset[trafficClass] = trafficClass;
      ++trafficClass;
    }
    options.count[trafficClass] = static_cast<std::uint16_t>(rest);
    options.offset[trafficClass] = trafficClass;
    tcmsg header = headerOf(index, TC_H_ROOT);
    header.tcm_handle = handle;
    RouteMessage message(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_REPLACE, header);
    putKind(message, kClassesKind);
    message.put(TCA_OPTIONS, &options, sizeof options);
    error = requests_.request(message);
    if (!error || error->code != EINVAL) break;
  }
  return error;
}

std::optional<RouteError> PortQueues::classesDel(int index, std::uint32_t handle) {
  tcmsg header = headerOf(index, TC_H_ROOT);
  header.tcm_handle = handle;
  RouteMessage message(RTM_DELQDISC, 0, header);
  return requests_.request(message);
}

std::optional<RouteError> PortQueues::shaperIs(int index, const Classes& classes,
                                               std::uint16_t queue, const CreditShaper& shaper) {
  std::optional<RouteError> error;
  for (const std::uint8_t offload : {std::uint8_t{1}, std::uint8_t{0}}) {
    RouteMessage message(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_REPLACE,
                         headerOf(index, parentOf(classes, queue)));
    putKind(message, kShaperKind);
    tc_cbs_qopt options{};
    options.offload = offload;
    options.hicredit = shaper.hiCredit;
    options.locredit = shaper.loCredit;
    options.idleslope = shaper.idleSlope;
    options.sendslope = shaper.sendSlope;
    nlattr* const nest = message.nest(TCA_OPTIONS);
    message.put(TCA_CBS_PARMS, &options, sizeof options);
    message.nestEnd(nest);
    error = requests_.request(message);
    if (!error || error->code != EOPNOTSUPP) break;
  }
  return error;
}

// A queue whose discipline is deleted sends nothing any more, so another one takes the place.
std::optional<RouteError> PortQueues::shaperDel(int index, const Classes& classes,
                                                std::uint16_t queue) {
  RouteMessage message(RTM_NEWQDISC, NLM_F_CREATE | NLM_F_REPLACE,
                       headerOf(index, parentOf(classes, queue)));
  putKind(message, kPlainKind);
  return requests_.request(message);
}

}  // namespace Platform::Linux

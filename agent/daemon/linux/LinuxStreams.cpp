#include "agent/daemon/linux/LinuxStreams.h"

#include <cerrno>

#include "agent/daemon/linux/ClassRules.h"
#include "platform/linux/EthernetMedium.h"

namespace Daemon {

namespace Kernel = Platform::Linux;
using Mrp::ReservationResult;

namespace {

// Handle of the traffic classes that the agent makes: "MR", as an upper half.
constexpr std::uint32_t kHandle = 0x4d520000;

ReservationResult resultOf(int error) {
  switch (error) {
    case E2BIG:
    case ENOSPC:
      return ReservationResult::tableFull;
    case EBUSY:
      return ReservationResult::hashFull;
    default:
      return ReservationResult::noResource;
  }
}

}  // namespace

LinuxStreams::LinuxStreams(Platform::Ptr<Kernel::Loop> loop, const Kernel::Links& links)
    : links_(links), groups_(std::move(loop), links) {
  groupsReactor_.watch<&LinuxStreams::handleGroups>(groups_.onGroups(), this);
}

LinuxStreams::~LinuxStreams() = default;

int LinuxStreams::indexOf(const std::string& port) const {
  if (const Kernel::Link* const link = links_.link(port)) return indices_[port] = link->index;
  const auto last = indices_.find(port);
  return last == indices_.end() ? 0 : last->second;
}

StreamHost::Medium LinuxStreams::medium(const std::string& port) const {
  const auto medium = Kernel::ethernetMedium(port);
  return medium ? Medium{medium->rate, medium->fullDuplex} : Medium();
}

// --- Entries -------------------------------------------------------------------------------------

bool LinuxStreams::entry(const std::string& port, const Address& address) const {
  return groups_.permanent(indexOf(port), {address.vlan, address.mac});
}

StreamHost::Answer LinuxStreams::entryIs(const std::string& port, const Address& address,
                                         bool present) {
  const auto error = groups_.entryIs(indexOf(port), {address.vlan, address.mac}, present);
  if (!error || !present) return {};
  if (error->code == EEXIST) return {.others = true};
  const std::string why =
      error->code == E2BIG ? "its table of groups is full (mcast_hash_max)" : error->text;
  return {.result = resultOf(error->code), .why = why};
}

// --- Queues --------------------------------------------------------------------------------------

LinuxStreams::Queues* LinuxStreams::queues(const std::string& port) {
  const int index = indexOf(port);
  const auto known = queues_.find(port);
  if (known != queues_.end() && known->second.index == index) return &known->second;
  queues_.erase(port);
  auto classes = portQueues_.classes(index);
  if (!classes) return nullptr;
  return &(queues_[port] = {index, std::move(*classes), {}});
}

// Where an administrator has arranged the queues, his classes are used.
bool LinuxStreams::arrange(const std::string& port, bool& ours, std::string& why) {
  if (const Queues* const q = queues(port)) {
    ours = ours && q->classes.handle == kHandle;
    return true;
  }
  ours = false;
  const Kernel::Link* const link = links_.link(port);
  if (!link) {
    why = "no such interface";
    return false;
  }
  if (portQueues_.configured(link->index)) {
    why = "another queueing discipline than mqprio is at its root";
    return false;
  }
  if (const auto error = portQueues_.classesAre(
          link->index, kHandle, link->txQueues,
          {Mrp::infoOf(Mrp::SrClass::a).priority, Mrp::infoOf(Mrp::SrClass::b).priority})) {
    why = error->text;
    return false;
  }
  ours = true;
  if (queues(port)) return true;
  why = "its queues are not as they were arranged";
  return false;
}

std::optional<CreditShaper> LinuxStreams::shaper(const std::string& port, Mrp::SrClass srClass) {
  const Queues* const q = queues(port);
  if (!q) return std::nullopt;
  const auto found =
      q->classes.shapers.find(q->classes.queueOfPriority[Mrp::infoOf(srClass).priority]);
  if (found == q->classes.shapers.end()) return std::nullopt;
  return found->second;
}

// What is known of the queues may be out of date; then it is read again.
bool LinuxStreams::shaperIs(const std::string& port, Mrp::SrClass srClass,
                            const std::optional<CreditShaper>& shaper, bool& ours,
                            std::string& why) {
  if (!shaper && !queues(port)) return true;
  for (const bool last : {false, true}) {
    if (!arrange(port, ours, why)) return false;
    Queues& q = queues_[port];
    const std::uint16_t queue = q.classes.queueOfPriority[Mrp::infoOf(srClass).priority];
    const auto other = srClass == Mrp::SrClass::a ? Mrp::SrClass::b : Mrp::SrClass::a;
    if (queue == q.classes.queueOfPriority[Mrp::infoOf(other).priority] ||
        queue == q.classes.queueOfPriority[0]) {
      why = "mqprio has no queue of its own for priority " +
            std::to_string(Mrp::infoOf(srClass).priority);
      return false;
    }
    const auto known = q.classes.shapers.find(queue);
    if (!q.before.contains(queue)) {
      const bool there = known != q.classes.shapers.end() && !ours;
      q.before[queue] = there ? std::optional(known->second) : std::nullopt;
    }
    const auto error = shaper ? portQueues_.shaperIs(q.index, q.classes, queue, *shaper)
                              : portQueues_.shaperDel(q.index, q.classes, queue);
    if (!error) {
      if (shaper) {
        q.classes.shapers[queue] = *shaper;
      } else {
        q.classes.shapers.erase(queue);
      }
      return true;
    }
    why = error->text;
    if (!last) queues_.erase(port);
  }
  return !shaper;
}

void LinuxStreams::queuesDel(const std::string& port, bool ours) {
  const Queues* const q = queues(port);
  indices_.erase(port);
  if (!q) return;
  if (ours && q->classes.handle == kHandle) {
    portQueues_.classesDel(q->index, kHandle);
  } else {
    for (const auto& [queue, shaper] : q->before) {
      if (shaper) {
        portQueues_.shaperIs(q->index, q->classes, queue, *shaper);
      } else if (q->classes.shapers.contains(queue)) {
        portQueues_.shaperDel(q->index, q->classes, queue);
      }
    }
  }
  queues_.erase(port);
}

bool LinuxStreams::classesAre(const std::string& bridge, const ClassPorts& ports,
                              std::string& why) {
  return tellClasses(bridge, ports, why);
}

}  // namespace Daemon

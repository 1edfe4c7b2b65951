// Reviews that commit pending changes, and a standby side that takes over.

#include "bench/Cases.h"
#include "bench/Network.h"
#include "bench/baseline.h"

namespace Bench {
namespace {

constexpr std::size_t kFreshPorts = 16;  // beside kPorts
const Seconds kReviewDelay{0.1};

}  // namespace

// 64 k VLANs come and go on ports beside those that are populated. What is measured is the turn of
// the review timer, which falls between ticks of the engine's other timers; the share of it that
// goes to asking how full the attribute log is stands in a row beside the table.
std::vector<Row> commit(const Extent& extent) {
  const std::size_t ports = extent.ports;
  const std::size_t freshPorts = extent.share(kFreshPorts);
  const std::size_t attributes = freshPorts * kVlans;
  const auto divisor = static_cast<double>(attributes);
  std::vector<PlainMap> maps = plainMaps(ports, 1, kVlans);
  maps.resize(ports + freshPorts);
  Network network(MrpApplication::mvrp, ports + freshPorts);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  for (std::size_t i = 0; i < ports; ++i) network.receive(network.ports()[i], join);
  network.run(1.0);
  check(network.pending() == 0, "populated");
  const std::vector<IntfId> fresh(network.ports().begin() + static_cast<std::ptrdiff_t>(ports),
                                  network.ports().end());
  const auto review = [&] {
    check(network.pending() == attributes, "changes pending");
    const Seconds due = network.now() + kReviewDelay;
    network.runUntilBefore(due);
    const Cost cost = measured([&] { network.runUntil(due); });
    check(network.pending() == 0, "changes committed");
    network.run(2.0);
    return cost / divisor;
  };
  Rounds adds("commit-add");
  Rounds deletes("commit-delete");
  Rounds log("commit-add/asking-the-log");
  for (int i = 0; i < extent.rounds; ++i) {
    std::vector<PlainMap> pending = plainMaps(freshPorts, 1, kVlans);
    const Cost merge = measured([&] {
      for (std::size_t port = 0; port < freshPorts; ++port) {
        mergeAll(maps[ports + port], pending[port]);
      }
    });
    check(maps.back().size() == kVlans, "merged");
    const Cost erase = measured([&] {
      for (std::size_t port = 0; port < freshPorts; ++port) {
        eraseAll(maps[ports + port], 1, kVlans);
      }
    });
    network.runUntil(network.nextTick() + Seconds(0.05));
    for (const IntfId port : fresh) network.receive(port, join);
    adds.add(merge / divisor, review());
    log.add(merge / divisor, measured([&] { network.askLog(attributes); }) / divisor);
    check(network.attributes() == (ports + freshPorts) * kVlans, "added");
    network.runUntil(network.nextTick() + Seconds(0.05));
    for (const IntfId port : fresh) network.lib().mrpCleanUpIntfDatabase(port);
    deletes.add(erase / divisor, review());
    check(network.attributes() == ports * kVlans, "deleted");
  }
  return {adds.row(), deletes.row(), log.row()};
}

// Everything that activation does, to the last machine.
std::vector<Row> start(const Extent& extent) {
  const std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  auto status = Platform::makePtr<Mrp::MrpStatus>();
  {
    Network active(MrpApplication::mvrp, extent.ports,
                   {.standby = false, .leaveAllTime = 1e6, .lib = {}, .status = status});
    active.receiveOnAll(vlanFrame(1, kVlans, kJoinIn));
    active.run(1.0);
    check(active.pending() == 0, "committed");
  }
  Rounds row("start");
  for (int i = 0; i < extent.rounds; ++i) {
    Network network(MrpApplication::mvrp, extent.ports,
                    {.standby = true, .leaveAllTime = 1e6, .lib = {}, .status = status});
    const Cost base = measured([&] {
      for (const PlainMap& map : maps) walkAll(map);
    });
    const Cost cost = measured([&] { network.activate(); });
    check(network.registered() == extent.ports * kVlans, "attributes in the index");
    row.add(base / extent.vlanEvents(), cost / extent.vlanEvents());
  }
  return {row.row()};
}

}  // namespace Bench

// Frames that arrive: refreshed, after a LeaveAll, and with an explicit leave.

#include "bench/Cases.h"
#include "bench/ReceiveRefresh.h"
#include "bench/baseline.h"

namespace Bench {
namespace {

using Mrp::MrpRegistrarState;

constexpr double kVlanEvents = static_cast<double>(kPorts) * kVlans;

void receiveAllBaseline(ReceiveBaseline& baseline, const std::vector<PlainMap>& maps,
                        const Octets& packed) {
  for (const PlainMap& map : maps) baseline.pdu(map, 1, packed, kVlans);
}

}  // namespace

RefreshedNetwork::RefreshedNetwork(std::size_t ports, std::uint16_t vlans)
    : network_(MrpApplication::mvrp, ports), vlans_(vlans), frame_(vlanFrame(1, vlans, kJoinIn)) {
  network_.receiveOnAll(frame_);
  network_.run(1.0);
  network_.receiveOnAll(frame_);
  check(network_.registered(MrpRegistrarState::in) == ports * vlans, "VLANs registered");
}

double RefreshedNetwork::passNs(std::size_t passes) {
  const auto before = network_.engine().mrpCounters()->numOfJoinIndications();
  const double ns = cpuNs([&] {
    for (std::size_t i = 0; i < passes; ++i) network_.receiveOnAll(frame_);
  });
  const auto events = passes * network_.ports().size() * vlans_;
  check(network_.engine().mrpCounters()->numOfJoinIndications() - before == events,
        "joins of registered VLANs");
  return ns / static_cast<double>(events);
}

double RefreshedNetwork::refusedNs() {
  const Octets beyond = vlanFrame(static_cast<std::uint16_t>(vlans_ + 1), vlans_, kJoinIn);
  network_.engine().mrpConfig()->vlanLimitIs(vlans_);
  const auto before = network_.engine().mrpCounters()->numOfRefusedEvents();
  const double ns = cpuNs([&] { network_.receiveOnAll(beyond); });
  const auto events = network_.ports().size() * vlans_;
  check(network_.engine().mrpCounters()->numOfRefusedEvents() - before == events,
        "joins beyond the limit refused");
  return ns / static_cast<double>(events);
}

std::vector<Row> receiveRefresh(int rounds) {
  const std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  RefreshedNetwork network(kPorts, kVlans);
  const Octets packed = packedEvents(kVlans, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  Rounds row("receive-refresh");
  Rounds refused("receive-refresh/refused");
  for (int i = 0; i < rounds; ++i) {
    const double base = cpuNs([&] { receiveAllBaseline(baseline, maps, packed); }) / kVlanEvents;
    const double refresh = network.passNs(1);
    row.add(base, refresh);
    refused.add(refresh, network.refusedNs());
  }
  return {row.row(), refused.row()};
}

// A received LeaveAll starts every leave timer, the joins that follow stop it.
std::vector<Row> receiveTimers(int rounds) {
  const std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  Network network(MrpApplication::mvrp, kPorts);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  const Octets leaveAll = vlanLeaveAllFrame();
  network.receiveOnAll(join);
  network.run(1.0);
  const Octets packed = packedEvents(kVlans, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  Rounds row("receive-timers");
  Rounds started("receive-timers/started");
  Rounds stopped("receive-timers/stopped");
  for (int i = 0; i < rounds; ++i) {
    const double base = cpuNs([&] { receiveAllBaseline(baseline, maps, packed); }) / kVlanEvents;
    const double start = cpuNs([&] { network.receiveOnAll(leaveAll); }) / kVlanEvents;
    check(network.registered(MrpRegistrarState::lv) == kPorts * kVlans, "leave timers started");
    const double stop = cpuNs([&] { network.receiveOnAll(join); }) / kVlanEvents;
    check(network.registered(MrpRegistrarState::in) == kPorts * kVlans, "leave timers stopped");
    row.add(base, (start + stop) / 2);
    started.add(base, start);
    stopped.add(base, stop);
    network.run(1.0);
  }
  check(network.attributes() == kPorts * kVlans, "VLANs kept");
  return {row.row(), started.row(), stopped.row()};
}

// Explicit leaves and joins in turn, less what as many refreshes cost. The attributes are in a
// state in which the Applicant answers neither, so that nothing but the timers makes the
// difference; such attributes come with the status that a side which takes over is given. What an
// expiry still does for a cancelled timer is counted too.
std::vector<Row> leaveArmCancel(int rounds) {
  const std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  std::vector<SpliceBaseline> lists(kPorts, SpliceBaseline(kVlans));
  auto status = Platform::makePtr<Mrp::MrpStatus>();
  Network network(MrpApplication::mvrp, kPorts, {.standby = true, .lib = {}, .status = status});
  for (const IntfId port : network.ports()) {
    auto& types =
        status->applicationIs(MrpApplication::mvrp).attrDatabaseIs(port).intfTypeApplicantIs(1);
    for (std::uint16_t vlan = 1; vlan <= kVlans; ++vlan) {
      Mrp::MrpAttrDatabase& record = types.mrpAttributeIs(vlan);
      record.applicantStateIs(Mrp::MrpApplicantState::lo);
      record.registrarStateIs(MrpRegistrarState::in);
      const std::array<std::uint8_t, 2> value{static_cast<std::uint8_t>(vlan >> 8),
                                              static_cast<std::uint8_t>(vlan)};
      record.valueIs(value);
    }
  }
  network.activate();
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  const Octets leave = vlanFrame(1, kVlans, kLv);
  network.receiveOnAll(join);
  Rounds row("leave-arm-cancel");
  Rounds passes("leave-arm-cancel/passes");
  for (int i = 0; i < rounds; ++i) {
    const double splices = cpuNs([&] {
      for (SpliceBaseline& list : lists) list.inAndOut();
    });
    const double finds = cpuNs([&] {
      for (const PlainMap& map : maps) findAll(map, 1, kVlans);
    });
    const double refreshes = cpuNs([&] {
      network.receiveOnAll(join);
      network.receiveOnAll(join);
    });
    const Seconds expiry = network.now() + Seconds(0.6);
    const double arming = cpuNs([&] { network.receiveOnAll(leave); });
    check(network.registered(MrpRegistrarState::lv) == kPorts * kVlans, "leave timers started");
    const double cancelling = cpuNs([&] { network.receiveOnAll(join); });
    check(network.registered(MrpRegistrarState::in) == kPorts * kVlans, "leave timers stopped");
    network.runUntilBefore(expiry);
    const double late = cpuNs([&] { network.runUntil(expiry); });
    const double base = (2 * splices + finds) / kVlanEvents;
    row.add(base, (arming + cancelling + late - refreshes) / kVlanEvents);
    passes.add(base, (arming + cancelling - refreshes) / kVlanEvents);
    network.runUntil(network.nextTick());
    check(network.takeSent().frames == 0, "nothing sent");
  }
  return {row.row(), passes.row()};
}

std::vector<Row> msrpReceive(int rounds) {
  constexpr std::size_t kStreamPorts = 64;
  constexpr std::uint16_t kStreams = 512;
  constexpr std::size_t kAttributes = 2 * kStreamPorts * kStreams;
  std::vector<Octets> frames;
  std::vector<std::uint64_t> first;
  std::vector<PlainMap> talkers;
  std::vector<PlainMap> listeners;
  for (std::size_t i = 0; i < kStreamPorts; ++i) {
    first.push_back(0x0200000000010000 + (i << 20));
    frames.push_back(streamFrame(first[i], kStreams, kJoinIn));
    talkers.push_back(std::move(plainMaps(1, first[i], kStreams).front()));
    listeners.push_back(std::move(plainMaps(1, first[i], kStreams).front()));
  }
  Network network(MrpApplication::msrp, kStreamPorts);
  const auto receiveAll = [&] {
    for (std::size_t i = 0; i < kStreamPorts; ++i) network.receive(network.ports()[i], frames[i]);
  };
  receiveAll();
  network.run(1.0);
  receiveAll();
  check(network.registered(MrpRegistrarState::in) == kAttributes, "streams registered");
  const Octets packed = packedEvents(kStreams, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  Rounds row("msrp-receive");
  constexpr std::size_t kPasses = 8;
  constexpr double kEvents = kPasses * kAttributes;
  for (int i = 0; i < rounds; ++i) {
    const double base = cpuNs([&] {
      for (std::size_t pass = 0; pass < kPasses; ++pass) {
        for (std::size_t port = 0; port < kStreamPorts; ++port) {
          baseline.pdu(talkers[port], first[port], packed, kStreams);
          baseline.pdu(listeners[port], first[port], packed, kStreams);
        }
      }
    });
    const auto before = network.engine().mrpCounters()->numOfJoinIndications();
    const double ns = cpuNs([&] {
      for (std::size_t pass = 0; pass < kPasses; ++pass) receiveAll();
    });
    check(network.engine().mrpCounters()->numOfJoinIndications() - before == kPasses * kAttributes,
          "joins of registered streams");
    row.add(base / kEvents, ns / kEvents);
  }
  return {row.row()};
}

}  // namespace Bench

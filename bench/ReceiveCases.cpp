// Frames that arrive: refreshed, after a LeaveAll, and with an explicit leave.

#include <algorithm>

#include "agent/account/Account.h"
#include "bench/Cases.h"
#include "bench/Ideal.h"
#include "bench/ReceiveRefresh.h"
#include "bench/baseline.h"
#include "mrp/MrpSm/MrpObserver.h"

namespace Bench {
namespace {

using Mrp::MrpRegistrarState;

void receiveAllBaseline(ReceiveBaseline& baseline, const std::vector<PlainMap>& maps,
                        const Octets& packed) {
  for (const PlainMap& map : maps) baseline.pdu(map, 1, packed, kVlans);
}

// Counts what it is told.
class Facts final : public Mrp::MrpObserver {
 public:
  void event(const Event&) override { ++events; }
  void transition(const Transition&) override { ++transitions; }
  std::uint64_t events = 0, transitions = 0;
};

}  // namespace

RefreshedNetwork::RefreshedNetwork(std::size_t ports, std::uint16_t vlans)
    : network_(MrpApplication::mvrp, ports), vlans_(vlans), frame_(vlanFrame(1, vlans, kJoinIn)) {
  network_.receiveOnAll(frame_);
  network_.run(1.0);
  network_.receiveOnAll(frame_);
  check(network_.registered() == ports * vlans, "VLANs registered");
}

Cost RefreshedNetwork::pass(std::size_t passes) {
  const auto before = network_.engine().counters()->numOfJoinIndications();
  const Cost cost = measured([&] {
    for (std::size_t i = 0; i < passes; ++i) network_.receiveOnAll(frame_);
  });
  const auto events = passes * network_.ports().size() * vlans_;
  check(network_.engine().counters()->numOfJoinIndications() - before == events,
        "joins of registered VLANs");
  return cost / static_cast<double>(events);
}

Cost RefreshedNetwork::observed() {
  Facts facts;
  network_.engine().observerIs(&facts);
  const Cost cost = pass(1);
  network_.engine().observerIs(nullptr);
  const auto events = network_.ports().size() * vlans_;
  check(facts.events == events && facts.transitions == 2 * events, "facts told of each join");
  return cost;
}

Cost RefreshedNetwork::recorded() {
  Mrp::Accounts::Account account(network_.clock());
  network_.engine().observerIs(&account);
  const Cost cost = pass(1);
  network_.engine().observerIs(nullptr);
  // What repeats a state is not recorded; each port has received its frame.
  check(account.last() == network_.ports().size(), "the frames of a refresh recorded");
  return cost;
}

Cost RefreshedNetwork::refused() {
  const Octets beyond = vlanFrame(static_cast<std::uint16_t>(vlans_ + 1), vlans_, kJoinIn);
  network_.config().vlanLimitIs(vlans_);
  const auto before = network_.engine().counters()->numOfRefusedEvents();
  const Cost cost = measured([&] { network_.receiveOnAll(beyond); });
  const auto events = network_.ports().size() * vlans_;
  check(network_.engine().counters()->numOfRefusedEvents() - before == events,
        "joins beyond the limit refused");
  return cost / static_cast<double>(events);
}

std::vector<Row> receiveRefresh(const Extent& extent) {
  const std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  Ideal ideal(extent.ports);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  for (int i = 0; i < 2; ++i) ideal.receiveOnAll(join);
  RefreshedNetwork network(extent.ports, kVlans);
  const Octets packed = packedEvents(kVlans, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  Rounds row("receive-refresh");
  Rounds againstIdeal("receive-refresh/ideal");
  Rounds observed("receive-refresh/observed");
  Rounds refused("receive-refresh/refused");
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base =
        measured([&] { receiveAllBaseline(baseline, maps, packed); }) / extent.vlanEvents();
    const auto joins = ideal.joins();
    const Cost least = measured([&] { ideal.receiveOnAll(join); }) / extent.vlanEvents();
    check(ideal.joins() - joins == extent.ports * kVlans, "joins of the prototype's VLANs");
    const Cost refresh = network.pass(1);
    row.add(base, refresh);
    againstIdeal.add(least, refresh);
    observed.add(refresh, network.observed());
    refused.add(refresh, network.refused());
  }
  check(ideal.registered() == extent.ports * kVlans && ideal.frames() == 0,
        "VLANs registered by the prototype, nothing sent");
  return {row.row(), againstIdeal.row(), observed.row(), refused.row()};
}

namespace {

// A received LeaveAll starts every leave timer, the joins that follow stop it.
struct Timers {
  Cost start;
  Cost stop;
  Cost mean() const { return (start + stop) / 2; }
};

// `either` is the engine's network or the prototype.
template <class Either>
Timers timersOf(Either& either, const Extent& extent, const Octets& leaveAll, const Octets& join) {
  const std::size_t attributes = extent.ports * kVlans;
  Timers timers;
  timers.start = measured([&] { either.receiveOnAll(leaveAll); }) / extent.vlanEvents();
  check(either.leaving() == attributes, "leave timers started");
  timers.stop = measured([&] { either.receiveOnAll(join); }) / extent.vlanEvents();
  check(either.registered() == attributes, "leave timers stopped");
  return timers;
}

}  // namespace

std::vector<Row> receiveTimers(const Extent& extent) {
  const std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  Ideal ideal(extent.ports);
  Network network(MrpApplication::mvrp, extent.ports);
  const Octets join = vlanFrame(1, kVlans, kJoinIn);
  const Octets leaveAll = vlanLeaveAllFrame();
  ideal.receiveOnAll(join);
  network.receiveOnAll(join);
  network.run(1.0);
  const Octets packed = packedEvents(kVlans, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  Rounds row("receive-timers");
  Rounds againstIdeal("receive-timers/ideal");
  Rounds started("receive-timers/started");
  Rounds stopped("receive-timers/stopped");
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base =
        measured([&] { receiveAllBaseline(baseline, maps, packed); }) / extent.vlanEvents();
    const Cost least = timersOf(ideal, extent, leaveAll, join).mean();
    const Timers timers = timersOf(network, extent, leaveAll, join);
    row.add(base, timers.mean());
    againstIdeal.add(least, timers.mean());
    started.add(base, timers.start);
    stopped.add(base, timers.stop);
    ideal.run(10);
    network.run(1.0);
  }
  check(network.attributes() == extent.ports * kVlans, "VLANs kept");
  check(std::ranges::equal(network.lastFrame(), ideal.lastFrame()), "the same octets sent by both");
  return {row.row(), againstIdeal.row(), started.row(), stopped.row()};
}

// Explicit leaves and joins in turn, less what as many refreshes cost. The attributes are in a
// state in which the Applicant answers neither, so that nothing but the timers makes the
// difference; such attributes come with the status that a side which takes over is given. What an
// expiry still does for a cancelled timer is counted too.
std::vector<Row> leaveArmCancel(const Extent& extent) {
  const std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  std::vector<SpliceBaseline> lists(extent.ports, SpliceBaseline(kVlans));
  auto status = Platform::makePtr<Mrp::MrpStatus>();
  Network network(MrpApplication::mvrp, extent.ports,
                  {.standby = true, .lib = {}, .status = status});
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
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost splices = measured([&] {
      for (SpliceBaseline& list : lists) list.inAndOut();
    });
    const Cost finds = measured([&] {
      for (const PlainMap& map : maps) findAll(map, 1, kVlans);
    });
    const Cost refreshes = measured([&] {
      network.receiveOnAll(join);
      network.receiveOnAll(join);
    });
    const Seconds expiry = network.now() + Seconds(0.6);
    const Cost arming = measured([&] { network.receiveOnAll(leave); });
    check(network.leaving() == extent.ports * kVlans, "leave timers started");
    const Cost cancelling = measured([&] { network.receiveOnAll(join); });
    check(network.registered() == extent.ports * kVlans, "leave timers stopped");
    network.runUntilBefore(expiry);
    const Cost late = measured([&] { network.runUntil(expiry); });
    const Cost base = (2 * splices + finds) / extent.vlanEvents();
    row.add(base, (arming + cancelling + late - refreshes) / extent.vlanEvents());
    passes.add(base, (arming + cancelling - refreshes) / extent.vlanEvents());
    network.runUntil(network.nextTick());
    check(network.takeSent().frames == 0, "nothing sent");
  }
  return {row.row(), passes.row()};
}

std::vector<Row> msrpReceive(const Extent& extent) {
  constexpr std::uint16_t kStreams = 512;
  const std::size_t ports = extent.share(64);
  const std::size_t attributes = 2 * ports * kStreams;
  std::vector<Octets> frames;
  std::vector<std::uint64_t> first;
  std::vector<PlainMap> talkers;
  std::vector<PlainMap> listeners;
  for (std::size_t i = 0; i < ports; ++i) {
    first.push_back(0x0200000000010000 + (i << 20));
    frames.push_back(streamFrame(first[i], kStreams, kJoinIn));
    talkers.push_back(std::move(plainMaps(1, first[i], kStreams).front()));
    listeners.push_back(std::move(plainMaps(1, first[i], kStreams).front()));
  }
  Network network(MrpApplication::msrp, ports);
  const auto receiveAll = [&] {
    for (std::size_t i = 0; i < ports; ++i) network.receive(network.ports()[i], frames[i]);
  };
  receiveAll();
  network.run(1.0);
  receiveAll();
  check(network.registered() == attributes, "streams registered");
  const Octets packed = packedEvents(kStreams, kJoinIn);
  ReceiveBaseline baseline(kVlans);
  Rounds row("msrp-receive");
  constexpr std::size_t kPasses = 8;
  const auto events = static_cast<double>(kPasses * attributes);
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base = measured([&] {
      for (std::size_t pass = 0; pass < kPasses; ++pass) {
        for (std::size_t port = 0; port < ports; ++port) {
          baseline.pdu(talkers[port], first[port], packed, kStreams);
          baseline.pdu(listeners[port], first[port], packed, kStreams);
        }
      }
    });
    const auto before = network.engine().counters()->numOfJoinIndications();
    const Cost cost = measured([&] {
      for (std::size_t pass = 0; pass < kPasses; ++pass) receiveAll();
    });
    check(network.engine().counters()->numOfJoinIndications() - before == kPasses * attributes,
          "joins of registered streams");
    row.add(base / events, cost / events);
  }
  return {row.row()};
}

}  // namespace Bench

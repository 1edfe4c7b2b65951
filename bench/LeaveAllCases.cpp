// LeaveAll timers that expire, and how cost grows with the number of attributes.

#include "bench/Cases.h"
#include "bench/DeclaredNetwork.h"
#include "bench/ReceiveRefresh.h"
#include "bench/baseline.h"

namespace Bench {

using Mrp::MrpRegistrarState;
using Mrp::MrpThreePackedEvent;

DeclaredNetwork::DeclaredNetwork(std::size_t ports, std::uint16_t vlans, Order order)
    : network_(MrpApplication::mvrp, ports,
               {.standby = false, .leaveAllTime = kPeriod, .lib = {}, .status = {}}),
      attributes_(ports * vlans),
      frame_(vlanFrame(1, vlans, kJoinIn)) {
  const auto join = [&](IntfId port, std::uint16_t vlan) {
    network_.request(port, vlan, MrpThreePackedEvent::joinIn);
  };
  if (order == Order::portByPort) {
    for (const IntfId port : network_.ports()) {
      for (std::uint16_t vlan = 1; vlan <= vlans; ++vlan) join(port, vlan);
    }
  } else {
    for (std::uint16_t vlan = 1; vlan <= vlans; ++vlan) {
      for (const IntfId port : network_.ports()) join(port, vlan);
    }
  }
  network_.run(1.0);
  rejoin();
}

void DeclaredNetwork::rejoin() {
  network_.receiveOnAll(frame_);
  check(network_.registered(MrpRegistrarState::in) == attributes_, "VLANs registered");
}

double DeclaredNetwork::expiryNs(std::size_t cycles) {
  double ns = 0;
  for (std::size_t i = 0; i < cycles; ++i) {
    network_.runUntilBefore(due_);
    network_.takeSent();
    ns += cpuNs([&] { network_.runUntil(due_); });
    const Network::Sent sent = network_.takeSent();
    check(sent.values == attributes_ && sent.leaveAlls == network_.ports().size(),
          "every attribute sent, with a LeaveAll on every port");
    check(network_.registered(MrpRegistrarState::lv) == attributes_, "leave timers started");
    rejoin();
    due_ = due_ + Seconds(kPeriod);
  }
  return ns / static_cast<double>(cycles * attributes_);
}

std::vector<Row> leaveAll(int rounds) {
  std::vector<PlainMap> maps = plainMaps(kPorts, 1, kVlans);
  DeclaredNetwork network(kPorts, kVlans);
  LeaveAllBaseline baseline;
  Rounds row("leave-all");
  network.expiryNs(1);
  for (int i = 0; i < rounds; ++i) {
    const double base = cpuNs([&] {
      for (PlainMap& map : maps) baseline.walk(map);
    });
    row.add(base / (static_cast<double>(kPorts) * kVlans), network.expiryNs(1));
  }
  return {row.row()};
}

namespace {

constexpr std::size_t kWarmPasses = 32;

// All ports against one that stays in the caches.
template <class Measure>
Row manyAgainstOne(const std::string& name, int rounds, Measure& many, Measure& one,
                   double (Measure::*ns)(std::size_t)) {
  (many.*ns)(1);
  (one.*ns)(kWarmPasses);
  Rounds row(name);
  for (int i = 0; i < rounds; ++i) {
    (one.*ns)(1);  // the caches may still be full of the others
    const double base = (one.*ns)(kWarmPasses);
    row.add(base, (many.*ns)(1));
  }
  return row.row();
}

}  // namespace

std::vector<Row> growthPorts(int rounds) {
  std::vector<Row> rows;
  {
    RefreshedNetwork many(kPorts, kVlans);
    RefreshedNetwork one(1, kVlans);
    rows.push_back(manyAgainstOne("growth-ports/receive-refresh", rounds, many, one,
                                  &RefreshedNetwork::passNs));
  }
  DeclaredNetwork many(kPorts, kVlans);
  DeclaredNetwork one(1, kVlans);
  rows.push_back(
      manyAgainstOne("growth-ports/leave-all", rounds, many, one, &DeclaredNetwork::expiryNs));
  Row worse = rows[0].ratio > rows[1].ratio ? rows[0] : rows[1];
  worse.name = "growth-ports";
  rows.push_back(worse);
  return rows;
}

std::vector<Row> growthOrder(int rounds) {
  DeclaredNetwork byPort(kPorts, kVlans);
  DeclaredNetwork byVlan(kPorts, kVlans, DeclaredNetwork::Order::vlanByVlan);
  byPort.expiryNs(1);
  byVlan.expiryNs(1);
  Rounds row("growth-order");
  for (int i = 0; i < rounds; ++i) {
    const double base = byPort.expiryNs(1);
    row.add(base, byVlan.expiryNs(1));
  }
  return {row.row()};
}

namespace {

// Points of the plot.
struct Scale {
  std::size_t ports;
  std::uint16_t vlans;
  std::size_t attributes() const { return ports * vlans; }
  // Small ones go round several times, for the sake of the clock.
  std::size_t passes() const { return std::max<std::size_t>(100'000 / attributes(), 1); }
};
constexpr Scale kScales[] = {{1, 1000}, {4, 2500}, {25, 4000}, {250, 4000}, {500, 4000}};

// `visit` is the baseline for one map.
template <class Measure, class Visit>
Row point(const std::string& name, const Scale& scale, int rounds, std::vector<PlainMap>& maps,
          double (Measure::*ns)(std::size_t), Visit visit) {
  Measure network(scale.ports, scale.vlans);
  (network.*ns)(scale.passes());
  Rounds row("growth/" + name + "/" + std::to_string(scale.attributes()));
  for (int i = 0; i < rounds; ++i) {
    const double base = cpuNs([&] {
      for (std::size_t pass = 0; pass < scale.passes(); ++pass) {
        for (PlainMap& map : maps) visit(map);
      }
    });
    row.add(base / static_cast<double>(scale.passes() * scale.attributes()),
            (network.*ns)(scale.passes()));
  }
  return row.row();
}

}  // namespace

std::vector<Row> growth(int rounds) {
  std::vector<std::vector<PlainMap>> maps;
  for (const Scale& scale : kScales) maps.push_back(plainMaps(scale.ports, 1, scale.vlans));
  std::vector<Row> rows;
  for (std::size_t i = 0; i < maps.size(); ++i) {
    const Scale& scale = kScales[i];
    const Octets packed = packedEvents(scale.vlans, kJoinIn);
    ReceiveBaseline receive(scale.vlans);
    rows.push_back(point("receive-refresh", scale, rounds, maps[i], &RefreshedNetwork::passNs,
                         [&](PlainMap& map) { receive.pdu(map, 1, packed, scale.vlans); }));
    LeaveAllBaseline walk;
    rows.push_back(point("leave-all", scale, rounds, maps[i], &DeclaredNetwork::expiryNs,
                         [&](PlainMap& map) { walk.walk(map); }));
  }
  return rows;
}

}  // namespace Bench

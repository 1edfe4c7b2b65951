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

// Points of the plot, each against its baseline at the same scale.
std::vector<Row> growth(int rounds) {
  struct Scale {
    std::size_t ports;
    std::uint16_t vlans;
  };
  constexpr Scale kScales[] = {{1, 1000}, {4, 2500}, {25, 4000}, {250, 4000}, {500, 4000}};
  constexpr std::size_t kEventsPerRound = 100'000;
  std::vector<std::vector<PlainMap>> mapsOf;
  for (const auto& [ports, vlans] : kScales) mapsOf.push_back(plainMaps(ports, 1, vlans));
  std::vector<Row> rows;
  for (std::vector<PlainMap>& maps : mapsOf) {
    const auto& [ports, vlans] = kScales[rows.size() / 2];
    const std::size_t attributes = ports * vlans;
    const std::size_t passes = std::max<std::size_t>(kEventsPerRound / attributes, 1);
    const auto events = static_cast<double>(passes * attributes);
    {
      RefreshedNetwork network(ports, vlans);
      ReceiveBaseline baseline(vlans);
      const Octets packed = packedEvents(vlans, kJoinIn);
      Rounds row("growth/receive-refresh/" + std::to_string(attributes));
      network.passNs(passes);
      for (int i = 0; i < rounds; ++i) {
        const double base = cpuNs([&] {
          for (std::size_t pass = 0; pass < passes; ++pass) {
            for (const PlainMap& map : maps) baseline.pdu(map, 1, packed, vlans);
          }
        });
        row.add(base / events, network.passNs(passes));
      }
      rows.push_back(row.row());
    }
    DeclaredNetwork network(ports, vlans);
    LeaveAllBaseline baseline;
    Rounds row("growth/leave-all/" + std::to_string(attributes));
    network.expiryNs(1);
    for (int i = 0; i < rounds; ++i) {
      const double base = cpuNs([&] {
        for (std::size_t pass = 0; pass < passes; ++pass) {
          for (PlainMap& map : maps) baseline.walk(map);
        }
      });
      row.add(base / events, network.expiryNs(passes));
    }
    rows.push_back(row.row());
  }
  return rows;
}

}  // namespace Bench

// LeaveAll timers that expire, and how cost grows with the number of attributes.

#include "bench/Cases.h"
#include "bench/DeclaredNetwork.h"
#include "bench/Ideal.h"
#include "bench/ReceiveRefresh.h"
#include "bench/baseline.h"

namespace Bench {

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
  check(network_.registered() == attributes_, "VLANs registered");
}

Cost DeclaredNetwork::expiry(std::size_t cycles) {
  Cost cost;
  for (std::size_t i = 0; i < cycles; ++i) {
    network_.runUntilBefore(due_);
    network_.takeSent();
    cost += measured([&] { network_.runUntil(due_); });
    lastFrame_ = network_.lastFrame();
    const Network::Sent sent = network_.takeSent();
    check(sent.values == attributes_ && sent.leaveAlls == network_.ports().size(),
          "every attribute sent, with a LeaveAll on every port");
    check(network_.leaving() == attributes_, "leave timers started");
    rejoin();
    due_ = due_ + Seconds(kPeriod);
  }
  return cost / static_cast<double>(cycles * attributes_);
}

namespace {

// The prototype's part of `leave-all`: what DeclaredNetwork does on the engine.
class DeclaredIdeal {
 public:
  explicit DeclaredIdeal(const Extent& extent) : extent_(extent), ideal_(extent.ports) {
    for (std::size_t port = 0; port < extent.ports; ++port) {
      for (std::uint16_t vlan = 1; vlan <= kVlans; ++vlan) ideal_.join(port, vlan);
      ideal_.flush(port);
    }
    rejoin();
  }

  Cost expiry() {
    const auto frames = ideal_.frames();
    const auto values = ideal_.values();
    const Cost cost = measured([&] { ideal_.leaveAll(); }) / extent_.vlanEvents();
    check(ideal_.frames() - frames == extent_.ports && ideal_.values() - values == attributes(),
          "every attribute sent by the prototype");
    check(ideal_.leaving() == attributes(), "the prototype's leave timers started");
    sent_.assign(ideal_.lastFrame().begin(), ideal_.lastFrame().end());
    rejoin();
    ideal_.run(100);
    return cost;
  }
  // Of the last expiry.
  const Octets& lastFrame() const { return sent_; }

 private:
  std::size_t attributes() const { return extent_.ports * kVlans; }
  void rejoin() {
    ideal_.receiveOnAll(frame_);
    check(ideal_.registered() == attributes(), "VLANs registered by the prototype");
  }

  Extent extent_;
  Ideal ideal_;
  Octets frame_ = vlanFrame(1, kVlans, kJoinIn);
  Octets sent_;
};

}  // namespace

std::vector<Row> leaveAll(const Extent& extent) {
  std::vector<PlainMap> maps = plainMaps(extent.ports, 1, kVlans);
  DeclaredIdeal ideal(extent);
  DeclaredNetwork network(extent.ports, kVlans);
  LeaveAllBaseline baseline;
  Rounds row("leave-all");
  Rounds againstIdeal("leave-all/ideal");
  network.expiry(1);
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base = measured([&] {
      for (PlainMap& map : maps) baseline.walk(map);
    });
    const Cost least = ideal.expiry();
    const Cost cost = network.expiry(1);
    check(ideal.lastFrame() == network.lastFrame(), "the same octets sent by both");
    row.add(base / extent.vlanEvents(), cost);
    againstIdeal.add(least, cost);
  }
  return {row.row(), againstIdeal.row()};
}

namespace {

constexpr std::size_t kWarmPasses = 32;

// All ports against one that stays in the caches.
template <class Measure>
Row manyAgainstOne(const std::string& name, const Extent& extent, Measure& many, Measure& one,
                   Cost (Measure::*measure)(std::size_t)) {
  (many.*measure)(1);
  (one.*measure)(kWarmPasses);
  Rounds row(name);
  for (int i = 0; i < extent.rounds; ++i) {
    (one.*measure)(1);  // the caches may still be full of the others
    const Cost base = (one.*measure)(kWarmPasses);
    row.add(base, (many.*measure)(1));
  }
  return row.row();
}

}  // namespace

std::vector<Row> growthPorts(const Extent& extent) {
  std::vector<Row> rows;
  {
    RefreshedNetwork many(extent.ports, kVlans);
    RefreshedNetwork one(1, kVlans);
    rows.push_back(
        manyAgainstOne("growth-ports/receive-refresh", extent, many, one, &RefreshedNetwork::pass));
  }
  DeclaredNetwork many(extent.ports, kVlans);
  DeclaredNetwork one(1, kVlans);
  rows.push_back(
      manyAgainstOne("growth-ports/leave-all", extent, many, one, &DeclaredNetwork::expiry));
  Row worse = rows[0].ratio > rows[1].ratio ? rows[0] : rows[1];
  worse.name = "growth-ports";
  worse.cost.instructions = std::max(rows[0].cost.instructions, rows[1].cost.instructions);
  worse.baseline.instructions =
      std::max(rows[0].baseline.instructions, rows[1].baseline.instructions);
  rows.push_back(worse);
  return rows;
}

std::vector<Row> growthOrder(const Extent& extent) {
  DeclaredNetwork byPort(extent.ports, kVlans);
  DeclaredNetwork byVlan(extent.ports, kVlans, DeclaredNetwork::Order::vlanByVlan);
  byPort.expiry(1);
  byVlan.expiry(1);
  Rounds row("growth-order");
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base = byPort.expiry(1);
    row.add(base, byVlan.expiry(1));
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
Row point(const std::string& name, const Scale& scale, const Extent& extent,
          std::vector<PlainMap>& maps, Cost (Measure::*measure)(std::size_t), Visit visit) {
  Measure network(scale.ports, scale.vlans);
  (network.*measure)(scale.passes());
  Rounds row("growth/" + name + "/" + std::to_string(scale.attributes()));
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base = measured([&] {
      for (std::size_t pass = 0; pass < scale.passes(); ++pass) {
        for (PlainMap& map : maps) visit(map);
      }
    });
    row.add(base / static_cast<double>(scale.passes() * scale.attributes()),
            (network.*measure)(scale.passes()));
  }
  return row.row();
}

}  // namespace

std::vector<Row> growth(const Extent& extent) {
  std::vector<std::vector<PlainMap>> maps;
  for (const Scale& scale : kScales) maps.push_back(plainMaps(scale.ports, 1, scale.vlans));
  std::vector<Row> rows;
  for (std::size_t i = 0; i < maps.size(); ++i) {
    const Scale& scale = kScales[i];
    const Octets packed = packedEvents(scale.vlans, kJoinIn);
    ReceiveBaseline receive(scale.vlans);
    rows.push_back(point("receive-refresh", scale, extent, maps[i], &RefreshedNetwork::pass,
                         [&](PlainMap& map) { receive.pdu(map, 1, packed, scale.vlans); }));
    LeaveAllBaseline walk;
    rows.push_back(point("leave-all", scale, extent, maps[i], &DeclaredNetwork::expiry,
                         [&](PlainMap& map) { walk.walk(map); }));
  }
  return rows;
}

}  // namespace Bench

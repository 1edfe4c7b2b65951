#pragma once

#include <vector>

#include "bench/Measure.h"

// A case is one process: it builds its network once and measures one row, or several that share it.
namespace Bench {

constexpr std::size_t kPorts = 512;
constexpr std::uint16_t kVlans = 4094;

// How much a case does. `ports` are a multiple of 8; where a case has ports of its own, as many
// fewer than usual as they are fewer than kPorts.
struct Extent {
  int rounds = 5;
  std::size_t ports = kPorts;

  double vlanEvents() const { return static_cast<double>(ports) * kVlans; }
  std::size_t share(std::size_t usual) const { return usual * ports / kPorts; }
};

std::vector<Row> receiveRefresh(const Extent& extent);
std::vector<Row> receiveTimers(const Extent& extent);
std::vector<Row> leaveArmCancel(const Extent& extent);
std::vector<Row> msrpReceive(const Extent& extent);
std::vector<Row> leaveAll(const Extent& extent);
std::vector<Row> declare(const Extent& extent);
std::vector<Row> propagate(const Extent& extent);
std::vector<Row> propagateVector(const Extent& extent);
std::vector<Row> commit(const Extent& extent);
std::vector<Row> start(const Extent& extent);
std::vector<Row> memoryMvrp(const Extent& extent);
std::vector<Row> memoryMsrp(const Extent& extent);
std::vector<Row> streamBridge(const Extent& extent);
std::vector<Row> account(const Extent& extent);
std::vector<Row> growthPorts(const Extent& extent);
std::vector<Row> growthOrder(const Extent& extent);
std::vector<Row> growth(const Extent& extent);

}  // namespace Bench

#pragma once

#include <string_view>
#include <vector>

#include "bench/Measure.h"

// A case is one process: it builds its network once and measures one row, or several that share it.
namespace Bench {

constexpr std::size_t kPorts = 512;
constexpr std::uint16_t kVlans = 4094;

std::vector<Row> receiveRefresh(int rounds);
std::vector<Row> receiveTimers(int rounds);
std::vector<Row> leaveArmCancel(int rounds);
std::vector<Row> msrpReceive(int rounds);
std::vector<Row> leaveAll(int rounds);
std::vector<Row> declare(int rounds);
std::vector<Row> propagate(int rounds);
std::vector<Row> commit(int rounds);
std::vector<Row> start(int rounds);
std::vector<Row> memoryMvrp(int rounds);
std::vector<Row> memoryMsrp(int rounds);
std::vector<Row> growthPorts(int rounds);
std::vector<Row> growthOrder(int rounds);
std::vector<Row> growth(int rounds);

}  // namespace Bench

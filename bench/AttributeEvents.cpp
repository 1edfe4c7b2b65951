// Cost of one attribute event at the scale where it matters: every port's LeaveAll at once. Each
// case reports nanoseconds of processor time for an event and their ratio to a bare walk over as
// many cache lines in the same run; quote the ratio.

// The socket filter of a process is that of its first engine, so run the VLAN and the talker cases
// in processes of their own (--benchmark_filter).

#include <benchmark/benchmark.h>

#include "bench/Network.h"

namespace {

using Bench::Network;
using Mrp::MrpApplication;

constexpr std::uint16_t kVlans = 4094;
constexpr std::uint8_t kJoinIn = 1;
constexpr std::uint8_t kLv = 5;
const Platform::Seconds kSettle{1.0};  // until everything new is committed

// Runs `step` as one iteration over `events` attribute events and reports the ratio.
template <class Step>
void measure(benchmark::State& state, std::size_t events, Step step) {
  double total = 0;
  double baseline = 0;
  int turns = 0;
  for (auto _ : state) {
    baseline += Bench::baselineNs(events);
    const double took = Bench::cpuSeconds(step);
    state.SetIterationTime(took);
    total += took * 1e9 / static_cast<double>(events);
    ++turns;
  }
  state.counters["ns/event"] = total / turns;
  state.counters["x_baseline"] = total / baseline;
}

std::size_t eventsOn(const Network& network, std::size_t attributes) {
  return network.ports().size() * attributes;
}

// First registration of every VLAN on every port.
void registerVlans(benchmark::State& state) {
  const auto ports = static_cast<int>(state.range(0));
  double total = 0;
  double baseline = 0;
  int turns = 0;
  for (auto _ : state) {
    Network network(MrpApplication::mvrp, ports);
    const std::size_t events = eventsOn(network, kVlans);
    baseline += Bench::baselineNs(events);
    const auto frame = Bench::vlanFrame(1, kVlans, kJoinIn, false);
    const double took = Bench::cpuSeconds([&] { network.receiveOnAll(frame); });
    state.SetIterationTime(took);
    total += took * 1e9 / static_cast<double>(events);
    ++turns;
  }
  state.counters["ns/event"] = total / turns;
  state.counters["x_baseline"] = total / baseline;
}

// The same declarations again.
void rejoinVlans(benchmark::State& state) {
  Network network(MrpApplication::mvrp, static_cast<int>(state.range(0)));
  const auto frame = Bench::vlanFrame(1, kVlans, kJoinIn, false);
  network.receiveOnAll(frame);
  network.clock().run(kSettle);
  measure(state, eventsOn(network, kVlans), [&] { network.receiveOnAll(frame); });
}

// A LeaveAll that re-declares everything: each attribute goes to LV, its timer is armed, and it is
// taken back.
void leaveAllAndRejoinVlans(benchmark::State& state) {
  Network network(MrpApplication::mvrp, static_cast<int>(state.range(0)));
  const auto frame = Bench::vlanFrame(1, kVlans, kJoinIn, true);
  network.receiveOnAll(frame);
  network.clock().run(kSettle);
  measure(state, eventsOn(network, kVlans), [&] {
    network.receiveOnAll(frame);
    network.clock().run(Platform::Seconds(0.7));
  });
}

// LeaveAll of our own on every port, with everything declared and registered, answered by all
// neighbours: what one period costs an attribute.
void ownLeaveAllVlans(benchmark::State& state) {
  Network network(MrpApplication::mvrp, static_cast<int>(state.range(0)));
  const auto frame = Bench::vlanFrame(1, kVlans, kJoinIn, false);
  network.declareVlans(kVlans);
  network.receiveOnAll(frame);
  const Platform::Seconds period = 10.0;
  network.clock().runUntil(period);
  measure(state, eventsOn(network, kVlans), [&] {
    network.receiveOnAll(frame);
    network.clock().run(period);
  });
}

// Everything leaves, ages out and is registered anew.
void leaveAndExpireVlans(benchmark::State& state) {
  Network network(MrpApplication::mvrp, static_cast<int>(state.range(0)));
  const auto join = Bench::vlanFrame(1, kVlans, kJoinIn, false);
  const auto leave = Bench::vlanFrame(1, kVlans, kLv, false);
  network.receiveOnAll(join);
  network.clock().run(kSettle);
  measure(state, eventsOn(network, kVlans), [&] {
    network.receiveOnAll(leave);
    network.clock().run(Platform::Seconds(0.7));
    network.receiveOnAll(join);
    network.clock().run(Platform::Seconds(0.3));
  });
}

constexpr std::uint16_t kStreams = 4000;

void rejoinTalkers(benchmark::State& state) {
  Network network(MrpApplication::msrp, static_cast<int>(state.range(0)));
  const auto frame = Bench::talkerFrame(1u << 16, kStreams, kJoinIn, false);
  network.receiveOnAll(frame);
  if (network.records() == 0) return state.SkipWithError("another application came first");
  network.clock().run(kSettle);
  measure(state, eventsOn(network, kStreams), [&] { network.receiveOnAll(frame); });
}

void leaveAllAndRejoinTalkers(benchmark::State& state) {
  Network network(MrpApplication::msrp, static_cast<int>(state.range(0)));
  const auto frame = Bench::talkerFrame(1u << 16, kStreams, kJoinIn, true);
  network.receiveOnAll(frame);
  network.clock().run(kSettle);
  measure(state, eventsOn(network, kStreams), [&] {
    network.receiveOnAll(frame);
    network.clock().run(Platform::Seconds(0.7));
  });
}

#define MRP_BENCH(name) \
  BENCHMARK(name)->Arg(16)->Arg(512)->UseManualTime()->Unit(benchmark::kMillisecond)
MRP_BENCH(registerVlans);
MRP_BENCH(rejoinVlans);
MRP_BENCH(leaveAllAndRejoinVlans);
MRP_BENCH(ownLeaveAllVlans);
MRP_BENCH(leaveAndExpireVlans);
MRP_BENCH(rejoinTalkers);
MRP_BENCH(leaveAllAndRejoinTalkers);
#undef MRP_BENCH

}  // namespace

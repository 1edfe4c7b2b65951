#include "bench/Network.h"

#include <cstdlib>
#include <string>

#include "mrp/MrpSm/tx/MrpduLayout.h"

namespace Bench {
namespace {

using Mrp::MrpApplication;
using Platform::EthAddr;

struct Identity {
  EthAddr addr;
  std::uint16_t etype;
};

Identity identityOf(MrpApplication application) {
  return application == MrpApplication::msrp
             ? Identity{EthAddr::fromNumber(0x0180c200000e), 0x22ea}
             : Identity{EthAddr::fromNumber(0x0180c2000021), 0x88f5};
}

void put16(std::vector<std::uint8_t>& out, unsigned number) {
  out.push_back(static_cast<std::uint8_t>(number >> 8));
  out.push_back(static_cast<std::uint8_t>(number));
}

std::vector<std::uint8_t> header(MrpApplication application) {
  const Identity identity = identityOf(application);
  std::vector<std::uint8_t> out(identity.addr.octets().begin(), identity.addr.octets().end());
  out.insert(out.end(), {2, 0, 0, 0, 1, 1});
  put16(out, identity.etype);
  out.push_back(0);
  return out;
}

void putEvents(std::vector<std::uint8_t>& out, std::uint16_t count, std::uint8_t event) {
  for (int left = count; left > 0; left -= 3) {
    const int second = left > 1 ? event : 0;
    const int third = left > 2 ? event : 0;
    out.push_back(static_cast<std::uint8_t>((event * 6 + second) * 6 + third));
  }
}

unsigned vectorHeader(std::uint16_t count, bool leaveAll) {
  return count | (leaveAll ? Mrp::kVectorHeaderLeaveAll : 0u);
}

}  // namespace

std::vector<std::uint8_t> vlanFrame(std::uint16_t first, std::uint16_t count, std::uint8_t event,
                                    bool leaveAll) {
  std::vector<std::uint8_t> out = header(MrpApplication::mvrp);
  out.insert(out.end(), {1, 2});
  put16(out, vectorHeader(count, leaveAll));
  put16(out, first);
  putEvents(out, count, event);
  out.insert(out.end(), 4, 0);
  return out;
}

std::vector<std::uint8_t> talkerFrame(std::uint64_t first, std::uint16_t count, std::uint8_t event,
                                      bool leaveAll) {
  std::vector<std::uint8_t> out = header(MrpApplication::msrp);
  out.insert(out.end(), {1, 25});
  put16(out, 2u + 25u + (count + 2u) / 3u + 2u);
  put16(out, vectorHeader(count, leaveAll));
  Mrp::MsrpTalkerAdvertiseAttribute value{};
  value.streamId = first;
  value.frame.dmac = EthAddr::fromNumber(0x91e0f0000000 + first);
  const auto* octets = reinterpret_cast<const std::uint8_t*>(&value);
  out.insert(out.end(), octets, octets + sizeof value);
  putEvents(out, count, event);
  out.insert(out.end(), 4, 0);
  return out;
}

Network::Network(MrpApplication application, int ports)
    : clock_(Platform::makePtr<Platform::Embedded::VirtualClock>()),
      switch_(std::make_unique<Platform::Embedded::Switch>(clock_)),
      lib_(Mrp::mrpLibFactory()),
      config_(Platform::makePtr<Mrp::MrpConfig>()),
      status_(Platform::makePtr<Mrp::MrpStatus>()) {
  setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
  switch_->eventLog().onIs(false);
  const Identity identity = identityOf(application);
  lib_->applicationIs(application);
  lib_->applicationMacAddrIs(identity.addr);
  lib_->applicationEtypeIs(identity.etype);
  switch_->onTransmit([this](Platform::IntfId, const Platform::Pkt&) { ++sent_; });
  engine_ = Mrp::mrpSmFactory(switch_->bridgingConfig(), lib_.get(), config_, status_,
                              switch_->stpStatus(), switch_->bridgingTopologyConfig(),
                              switch_->ethPhyIntfStatusDir(), switch_->stateDatabase(), false);
  for (int i = 1; i <= ports; ++i) {
    const auto addr = EthAddr::fromNumber(0x020000000000u + static_cast<unsigned>(i));
    ports_.push_back(switch_->portIs("port" + std::to_string(i), addr));
    lib_->mrpInterfaceEnable(ports_.back());
  }
}

Network::~Network() { engine_ = nullptr; }

void Network::receiveOnAll(const std::vector<std::uint8_t>& frame) {
  for (Platform::IntfId port : ports_) switch_->receive(port, frame);
}

void Network::declareVlans(std::uint16_t count) {
  for (Platform::IntfId port : ports_) {
    for (std::uint16_t vlan = 1; vlan <= count; ++vlan) {
      lib_->mvrpVlanVectorTx().vlanId = vlan;
      lib_->mrpOutIntfQueueEnq(port);
      Mrp::MrpParameters parameters;
      parameters.intfId = port;
      parameters.attributeType = 1;
      parameters.attributeEvent = static_cast<std::uint8_t>(Mrp::MrpThreePackedEvent::joinIn);
      lib_->mrpSendAttribute(parameters);
    }
  }
}

std::size_t Network::records() const {
  std::size_t count = 0;
  engine_->applicationDatabase()->attrDatabase().walk(
      [&](Platform::IntfId, Mrp::MrpIntfApplicant& port) {
        for (std::size_t type = 0; type < port.typeLimit(); ++type) {
          const auto* types = port.intfTypeApplicant(static_cast<std::uint8_t>(type));
          if (types) count += types->visibleCount();
        }
      });
  return count;
}

double baselineNs(std::size_t count) {
  struct alignas(64) Record {
    std::uint64_t key = 0;
    std::uint64_t state = 0;
  };
  static std::vector<Record> records;
  if (records.size() < count) records.resize(count);
  std::uint64_t sum = 0;
  constexpr int kTurns = 3;
  const double took = cpuSeconds([&] {
    for (int turn = 0; turn < kTurns; ++turn) {
      for (std::size_t i = 0; i < count; ++i) sum += records[i].state += records[i].key | 1;
    }
  });
  if (sum == 1) std::abort();  // keeps the loop
  return took * 1e9 / (static_cast<double>(count) * kTurns);
}

}  // namespace Bench

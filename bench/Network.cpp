#include "bench/Network.h"

#include <cstdlib>

#include "bench/Measure.h"

namespace Bench {

Network::Network(MrpApplication application, std::size_t ports, const Options& options)
    : application_(application),
      clock_(options.clock ? options.clock : Platform::makePtr<Platform::Embedded::VirtualClock>()),
      switch_(std::make_unique<Platform::Embedded::Switch>(clock_)),
      lib_(options.lib ? options.lib : Mrp::mrpLibFactory()),
      config_(Platform::makePtr<Mrp::MrpConfig>()),
      status_(options.status ? options.status : Platform::makePtr<Mrp::MrpStatus>()) {
  setenv("DISABLE_LEAVE_ALL_RANDOMIZATION", "1", 1);
  switch_->eventLog().onIs(false);
  config_->leaveAllTimeIs(options.leaveAllTime);
  const Identity identity = identityOf(application);
  lib_->applicationIs(application);
  lib_->applicationMacAddrIs(identity.addr);
  lib_->applicationEtypeIs(identity.etype);
  switch_->onTransmit([this](IntfId, const Platform::Pkt& pkt) { handleTransmit(pkt); });
  if (!options.spanningTree) switch_->stpStatus()->modeIs(Stp::Mode::none);
  config_->recommendedLimitsAre();
  engine_ = Mrp::engineFactory({.brConfig = switch_->bridgingConfig(),
                                .mrpLib = lib_.get(),
                                .mrpConfig = config_,
                                .mrpStatus = status_,
                                .stpStatus = switch_->stpStatus(),
                                .brTopoConfig = switch_->bridgingTopologyConfig(),
                                .ethPhyIntfStatusDir = switch_->ethPhyIntfStatusDir(),
                                .entityManager = switch_->stateDatabase(),
                                .standbyMode = options.standby});
  for (std::size_t i = 1; i <= ports; ++i) {
    const auto addr = Platform::EthAddr::fromNumber(0x020000000000u + i);
    ports_.push_back(switch_->portIs("port" + std::to_string(i), addr));
    lib_->mrpInterfaceEnable(ports_.back());
  }
}

Network::~Network() { engine_ = nullptr; }

void Network::receiveOnAll(const Octets& frame) {
  for (const IntfId port : ports_) switch_->receive(port, frame);
}

void Network::request(IntfId port, std::uint16_t vlan, Mrp::MrpThreePackedEvent event) {
  lib_->mvrpVlanVectorTx().vlanId = vlan;
  lib_->mrpOutIntfQueueEnq(port);
  Mrp::MrpParameters parameters;
  parameters.intfId = port;
  parameters.attributeType = 1;
  parameters.attributeEvent = static_cast<std::uint8_t>(event);
  lib_->mrpSendAttribute(parameters);
}

Seconds Network::nextTick() const {
  constexpr std::int64_t kTick = 100'000'000;
  return Seconds::fromNanoseconds((now().nanoseconds() / kTick + 1) * kTick);
}

void Network::askLog(std::size_t times) const {
  const Platform::Embedded::AttrLogSocket& log = switch_->attrLog();
  for (std::size_t i = 0; i < times; ++i) {
    check(log.sendQueueOctets(log.sockFd()).has_value(), "the log was asked");
  }
}

// Reads the first vector only and copies the frame: little enough to stand in the measured time.
void Network::handleTransmit(const Platform::Pkt& pkt) {
  const std::size_t at = application_ == MrpApplication::msrp ? 19 : 17;
  const auto octets = pkt.octets();
  const unsigned header = octets.size() > at + 1 ? octets[at] * 256u + octets[at + 1] : 0u;
  lastFrame_.assign(octets.begin(), octets.end());
  ++sent_.frames;
  sent_.values += header & 0x1fff;
  sent_.leaveAlls += header >> 13;
}

template <class Visit>
void Network::eachType(Visit visit) const {
  engine_->database().walkTypes([&](const Mrp::MrpIntfTypeApplicant& types) {
    visit(types.intfId(), types.attributeType(), types);
    return true;
  });
}

std::size_t Network::attributes() const {
  std::size_t count = 0;
  eachType([&](IntfId, std::uint8_t, const Mrp::MrpIntfTypeApplicant& types) {
    count += types.visibleCount();
  });
  return count;
}

std::size_t Network::inState(Mrp::MrpRegistrarState state) const {
  std::size_t count = 0;
  eachType([&](IntfId port, std::uint8_t type, const Mrp::MrpIntfTypeApplicant&) {
    engine_->walkRecords(port, type, [&](const Mrp::MrpAttrDatabase& record) {
      if (record.registrarState() == state) ++count;
    });
  });
  return count;
}

std::size_t Network::pending() const {
  std::size_t count = 0;
  eachType([&](IntfId, std::uint8_t, const Mrp::MrpIntfTypeApplicant& types) {
    count += types.pendingAdds() + types.pendingDeletes();
  });
  return count;
}

}  // namespace Bench

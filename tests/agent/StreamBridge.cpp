#include "tests/agent/StreamBridge.h"

#include <cstring>
#include <set>

namespace EngineTest {
namespace {

template <class Value>
Value valueOf(const MrpAttrDatabase& record) {
  Value value;
  std::memcpy(static_cast<void*>(&value), record.value().data(), sizeof value);
  return value;
}

std::string letters(MsrpListenerEvent event) {
  static constexpr const char* kLetters[] = {"-", "AF", "R", "RF"};
  return kLetters[static_cast<std::size_t>(event)];
}

std::string numberOf(IntfId intf) { return intf.name().substr(4); }

}  // namespace

Octets TalkerOf::value() const {
  return number(id, 8) + number(dmac ? dmac : kStreamAddresses + id, 6) + number(vlan, 2) +
         number(octets, 2) + number(frames, 2) +
         Octets{static_cast<std::uint8_t>(priority << 5 | rank << 4)} + number(latency, 4);
}

StreamBridge::StreamBridge(unsigned ports, Ptr<VirtualClock> onClock, std::uint64_t address)
    : clock(std::move(onClock)), bridge(makePtr<MsrpBridge>(forwarding, clock)), address_(address) {
  config->leaveAllTimeIs(86400.0);
  sw.bridgingConfig()->bridgeMacAddrIs(EthAddr::fromNumber(address));
  sw.onTransmit(
      [this](IntfId intf, const Pkt& pkt) { sent_[intf].push_back(decoded(kMsrp, pkt.octets())); });
  forwarding.onReservation = [this](std::uint16_t, EthAddr to, const PortSet& set) {
    std::string text = "entry " + std::to_string(to.number() - kStreamAddresses) + ":";
    for (const IntfId intf : set) text += " " + numberOf(intf);
    told_.push_back(text);
  };
  forwarding.onSlope = [this](IntfId intf, SrClass c, BitsPerSecond slope) {
    told_.push_back("slope " + numberOf(intf) + " " + std::to_string(static_cast<int>(c)) + " " +
                    std::to_string(slope));
  };
  forwarding.onBoundary = [this](IntfId intf, SrClass c, bool on) {
    told_.push_back("boundary " + numberOf(intf) + " " + std::to_string(static_cast<int>(c)) +
                    (on ? " on" : " off"));
  };
  sw.bus()->filtersIs(false);
  start();
  for (unsigned n = 1; n <= ports; ++n) {
    port(n);
    inDomain(n);
  }
  run(0.2);
  told();
  sent_.clear();
}

StreamBridge::~StreamBridge() { engine = nullptr; }

void StreamBridge::start(bool standby) {
  engine = engineFactory({.brConfig = sw.bridgingConfig(),
                          .mrpLib = bridge.get(),
                          .mrpConfig = config,
                          .mrpStatus = status,
                          .stpStatus = sw.stpStatus(),
                          .brTopoConfig = sw.bridgingTopologyConfig(),
                          .ethPhyIntfStatusDir = sw.ethPhyIntfStatusDir(),
                          .entityManager = sw.stateDatabase(),
                          .standbyMode = standby});
  bridge->start();
}

void StreamBridge::port(unsigned n) {
  role(n, Stp::MstiPortStatus::Role::designated);
  sw.portIs(intf(n).name(), EthAddr::fromNumber(address_ + n));
  StreamPort settings;
  settings.ofClass[0].maxLatency = settings.ofClass[1].maxLatency = 1000;
  forwarding.portIs(intf(n), settings);
  bridge->portIs(intf(n));
}

void StreamBridge::role(unsigned n, Stp::MstiPortStatus::Role role) {
  sw.stpStatus()->childIs("one").childIs("Cist").childIs(intf(n).name()).roleIs(role);
}

void StreamBridge::inDomain(unsigned n) {
  domain(n, 6, 3);
  domain(n, 5, 2);
}

void StreamBridge::rate(unsigned n, BitsPerSecond rate) {
  StreamPort port = settings(n);
  port.rate = rate;
  forwarding.portIs(intf(n), port);
}

void StreamBridge::capable(unsigned n, bool capable) {
  StreamPort port = settings(n);
  port.capable = capable;
  forwarding.portIs(intf(n), port);
}

void StreamBridge::latency(unsigned n, std::uint32_t nanoseconds) {
  StreamPort port = settings(n);
  port.ofClass[0].maxLatency = nanoseconds;
  forwarding.portIs(intf(n), port);
}

// --- Neighbours ----------------------------------------------------------------------------------

void StreamBridge::receive(unsigned n, const Octets& messages) {
  run(0);
  sw.receive(intf(n), frame(kMsrp, pdu(messages)));
  run(0);
}

void StreamBridge::advertise(unsigned n, const TalkerOf& talker, Event event) {
  receive(n, message(kMsrp, 1, vec(talker.value(), {event})));
}

void StreamBridge::failed(unsigned n, const TalkerOf& talker, std::uint8_t code, Event event) {
  receive(n, message(kMsrp, 2,
                     vec(talker.value() + number(0x8000020000000077, 8) + Octets{code}, {event})));
}

void StreamBridge::listen(unsigned n, std::uint64_t id, Declaration declaration, Event event) {
  receive(n, message(kMsrp, 3, vec(stream(id), {event}, false, {declaration})));
}

void StreamBridge::domain(unsigned n, std::uint8_t srClass, std::uint8_t priority, Event event) {
  receive(n, message(kMsrp, 4, vec(::EngineTest::domain(srClass, priority, 2), {event})));
}

// --- Results -------------------------------------------------------------------------------------

std::string StreamBridge::declared(std::uint64_t id) const {
  std::string text;
  const auto add = [&](unsigned n, const std::string& what) {
    text += (text.empty() ? "" : " ") + std::to_string(n) + ":" + what;
  };
  for (unsigned n = 1; sw.stpStatus()->child("one")->child("Cist")->child(intf(n).name()); ++n) {
    for (std::uint8_t type = 1; type <= 3; ++type) {
      engine->walkRecords(intf(n), type, [&](const MrpAttrDatabase& r) {
        if (r.attributeKey() != id || r.applicantState() != State::qa) return;
        if (type == 1) {
          const auto value = valueOf<MsrpTalkerAdvertiseAttribute>(r);
          add(n, "A" + std::to_string(std::uint32_t{value.accumulatedLatency}));
        } else if (type == 2) {
          const auto value = valueOf<MsrpTalkerFailedAttribute>(r);
          add(n, "F" + std::to_string(value.failureInformation.failureCode));
        } else {
          add(n, letters(valueOf<MsrpListenerAttribute>(r).listenerEvent()));
        }
      });
    }
  }
  return text;
}

std::string StreamBridge::entry(std::uint64_t id) const {
  std::string text;
  for (const IntfId i : forwarding.reservation(2, EthAddr::fromNumber(kStreamAddresses + id))) {
    text += (text.empty() ? "" : " ") + numberOf(i);
  }
  return text;
}

Texts StreamBridge::sent(unsigned n) {
  run(0.1);
  return std::exchange(sent_[intf(n)], {});
}

FailureInformation StreamBridge::failure(unsigned n, std::uint64_t id) const {
  FailureInformation found;
  engine->walkRecords(intf(n), 2, [&](const MrpAttrDatabase& r) {
    if (r.attributeKey() == id) found = valueOf<MsrpTalkerFailedAttribute>(r).failureInformation;
  });
  return found;
}

std::size_t StreamBridge::count(unsigned n, TalkerKind kind) const {
  std::size_t count = 0;
  engine->walkRecords(intf(n), kind == TalkerKind::failed ? 2 : 1, [&](const MrpAttrDatabase& r) {
    if (r.applicantState() == State::qa) ++count;
  });
  return count;
}

}  // namespace EngineTest

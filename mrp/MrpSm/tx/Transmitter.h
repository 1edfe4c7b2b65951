#pragma once

#include <algorithm>

#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/env/Environment.h"
#include "platform/bridging/BridgingConfig.h"
#include "platform/interface/IntfStatus.h"
#include "platform/packet/PamDirs.h"

namespace Mrp {

// Puts declarations into the open packets of the ports and sends those (IEEE 802.1Q 10.8). A packet
// that is handed to its endpoint lets the application run.
class Transmitter final : public Outbox {
 public:
  // Whose packets they are, and where the properties of ports are.
  struct Ports {
    MrpLib& lib;
    const Platform::PamCollection& pams;
    const Platform::IntfStatusDir& status;
    const Platform::EthPhyIntfStatusDir& addresses;
    const Platform::BridgingConfig& bridging;
    Platform::PktManager& packets;
  };

  Transmitter(const Environment& env, const Ports& ports);

  // Octets that a packet holds where the port's MTU does not say less.
  static constexpr std::size_t kDataRoom = 1500;

  // Which of a port's open packets get an event, and which one. Of both, the first comes before.
  enum class Into : std::uint8_t { first, second, both };
  struct alignas(4) Events {
    std::uint8_t first = 0;
    std::uint8_t second = 0;
    Into into = Into::first;
  };
  static constexpr Events intoFirst(std::uint8_t event) { return {event, 0, Into::first}; }
  static constexpr Events intoSecond(std::uint8_t event) { return {0, event, Into::second}; }
  // Encodes events of the attribute whose value stands in the transmit record. True when a packet
  // was sent: the application may have run meanwhile.
  [[gnu::noinline]] bool sendAny(IntfId intf, std::uint8_t type, const Events& events);
  // The same for events that are no LeaveAll, into the first packet or both.
  bool send(IntfId intf, std::uint8_t type, const Events& events) {
    return encoderOf(type).send(*this, intf, type, events);
  }
  // A LeaveAll of a type goes into the first packet.
  void sendLeaveAll(IntfId intf, std::uint8_t type);
  // Puts the event into the open packet that is given. Gives the octets packed so far.
  std::size_t encode(MrpTxPacketContext& context, std::uint8_t type, std::uint8_t event);

  // Finishes and sends one open packet of a port; true when it was handed to the endpoint.
  [[gnu::noinline]] bool transmit(IntfId intf, bool second);
  void flush(IntfId intf) override;
  void flush() override;

  // Drops what is open on a port.
  void drop(IntfId intf);

 private:
  // How a type's value is sent and encoded, and where it stands; null, but for the first, for a
  // type that the application lacks.
  struct Encoder {
    bool (*send)(Transmitter&, IntfId, std::uint8_t, const Events&) =
        [](Transmitter& self, IntfId intf, std::uint8_t type, const Events& events) {
          return self.sendAny(intf, type, events);
        };
    std::size_t (*add)(MrpTxPacketContext&, const void* value, std::uint8_t event,
                       const Environment&) = nullptr;
    void (*trace)(Platform::Trace&, const void* value, std::uint8_t event, IntfId) = nullptr;
    const void* value = nullptr;
  };
  // What is asked of a port with every event.
  struct Port {
    Port(const Ports& ports, IntfId of)
        : intf(of),
          endpoint(ports.pams.pams(), of),
          status(ports.status.intfStatus(), of),
          first(ports.lib.txPackets(false).contexts(), of),
          second(ports.lib.txPackets(true).contexts(), of) {}
    static bool isThere(const Ptr<Platform::Pam>* pam) { return pam && *pam; }
    bool hasEndpoint() { return isThere(endpoint.find()); }
    MrpTxPacketContext* packet(bool ofSecond) { return (ofSecond ? second : first).find(); }
    // Octets that a packet may hold, of a port with this status or none.
    static std::size_t room(const Platform::IntfStatus* of) {
      return of ? std::min<std::size_t>(of->mtu, kDataRoom) : kDataRoom;
    }
    std::size_t room() { return room(status.find()); }

    IntfId intf;
    Platform::IntfMap<Ptr<Platform::Pam>>::Place endpoint;
    Platform::IntfMap<Platform::IntfStatus>::Place status;
    TxPackets::Contexts::Place first, second;
  };
  // Of another port once the application has run.
  Port& portOf(IntfId intf) { return port_.intf == intf ? port_ : anotherPort(intf); }
  [[gnu::noinline]] Port& anotherPort(IntfId intf) { return port_ = Port(ports_, intf); }

  const Encoder& encoderOf(std::uint8_t type) const {
    return encoders_[type <= kMostTypes ? type : 0];
  }
  // What `send` does where nearly every event belongs.
  template <class Value>
  [[gnu::always_inline]] bool sendValue(IntfId intf, const Events& events);
  // The event has filled the first packet.
  [[gnu::noinline]] bool firstFull(IntfId intf, std::uint8_t type, const Events& events);
  // Puts an event into one packet of a port that has an endpoint; gives what `send` does.
  [[gnu::noinline]] bool put(IntfId intf, std::uint8_t type, std::uint8_t event, bool second);
  [[gnu::noinline]] bool putSecond(IntfId intf, std::uint8_t type, const Events& events, bool sent);
  // The open packet, a new one when there is none; null when that cannot be had.
  [[gnu::noinline]] MrpTxPacketContext* open(IntfId intf, std::uint8_t type, std::uint8_t event,
                                             bool second);
  void finish(MrpTxPacketContext& context) const;
  TxPackets& packets(bool second) { return second ? second_ : first_; }
  EthAddr sourceAddress(IntfId intf) const;
  // Tells of it; gives false.
  [[gnu::cold]] bool noEndpoint(IntfId intf, std::uint8_t type, const Events& events) const;
  [[gnu::cold]] void traceSending(IntfId intf, std::uint8_t type, std::uint8_t event) const;
  [[gnu::cold]] void tellSent(IntfId intf, std::uint8_t type, std::uint8_t event) const;
  [[gnu::cold]] std::size_t notEncoded(const MrpTxPacketContext& context) const;
  [[gnu::cold]] void noPacket(const MrpParameters& parameters) const;

  const Environment& env_;
  Ports ports_;
  TxPackets& first_;
  TxPackets& second_;
  Port port_;  // the one asked about last
  std::array<Encoder, kMostTypes + 1> encoders_{};
};

}  // namespace Mrp

#pragma once

#include <map>
#include <vector>

#include "mrp/MrpSm/db/Records.h"
#include "mrp/MrpSm/rx/ParsedAttributes.h"
#include "platform/packet/PktReader.h"

namespace Mrp {

class MrpApplicantSm;
class MrpLeaveAllSm;
class MrpRegistrarSm;

// The receive path: a frame is admitted, its MRPDU walked, its events decoded and staged, and what
// is staged driven into the machines.
class Receiver {
 public:
  // Where a received event leads.
  struct Machines {
    Records& records;
    MrpApplicantSm& applicant;
    MrpRegistrarSm& registrar;
    MrpLeaveAllSm& leaveAll;
    Outbox& outbox;
  };
  // What the frame's way out of the receive path needs of the engine.
  class Port {
   public:
    // Hands on a copy of an admitted frame.
    virtual void flood(IntfId received, const Pkt& frame) = 0;
    // All that the frame declared has been acted on.
    virtual void frameDone(IntfId intf) = 0;

   protected:
    ~Port() = default;
  };

  Receiver(const Environment& env, const Machines& machines, Port& port)
      : env_(env), machines_(machines), port_(port) {}

  // Who accepts frames: the application's address and EtherType, host order.
  struct Listens {
    EthAddr address;
    std::uint16_t etherType;
  };
  // Processes a frame to completion. Whatever leaves it, nothing staged is left behind.
  void receive(IntfId intf, Pkt& frame, const Listens& listens);

  // A frame is acting: until it has been told that it is done.
  bool busy() const { return busy_ > 0; }
  // A port's endpoint has gone. What the frame in progress has staged for it is dropped.
  void portClosed(IntfId intf) { closed_ = closed_ || intf == intf_; }

  // Marks the next PDU as injected anew: it is decoded, and nothing of it is acted on.
  bool recycled() const { return recycled_; }
  void recycledIs(bool recycled) { recycled_ = recycled; }

  // The walk of a PDU. Each step consumes what it has read from the head of the packet.
  void parseMrpdu(Pkt& pkt);
  MrpParseStatus parseMessage(Pkt& pkt);
  MrpParseStatus parseAttributeList(Pkt& pkt);
  MrpParseStatus parseVectorAttribute(Pkt& pkt);
  MrpParseStatus skipMessageDueToFutureProtocolVersion(Pkt& pkt);
  // One vector behind its header.
  MrpParseStatus parseVector(Pkt& pkt);

  // What is staged of the PDU being processed.
  MrpParsedAttributes& staged() { return staged_; }
  const std::map<std::uint8_t, bool>& rxLeaveAll() const { return rxLeaveAll_; }
  void rxLeaveAllIs(std::uint8_t type, bool received) { rxLeaveAll_[type] = received; }

  // Acts on it: LeaveAlls, a transmission, domains, all else.
  void processParsedAttributes(IntfId intf);
  void processParsedAttribute(const MrpParsedAttribute& parsed, IntfId intf);
  // A LeaveAll received for every attribute of a type.
  void processRxLeaveAll(IntfId intf, std::uint8_t type);

 private:
  using Queue = std::vector<std::uint32_t>;  // positions in staged_

  bool admit(IntfId intf, Pkt& frame, const Listens& listens);
  void act(IntfId intf, Pkt& frame);
  void processRxLeaveAlls(IntfId intf);
  void forget();
  void outOfMemory(const MrpAttribute& attribute) const;

  MrpParseStatus malformed();
  MrpParseStatus firstValueCutOff(Pkt& pkt);
  MrpParseStatus unidentifiedAttributeType();
  MrpParseStatus malformedVector(std::size_t packed, std::size_t left);
  void leaveAllOnlyVector();
  template <class Value>
  MrpParseStatus parseEvents(Pkt& pkt, Value& value);
  [[gnu::noinline]] void processUnknownAttribute(const MrpParsedAttribute& parsed,
                                                 const MrpIntfTypeApplicant* types, IntfId intf);
  void takeValue(const MrpParsedAttribute& parsed, const MrpAttrDatabase* record);
  void drive(Subject subject, std::uint8_t event);
  bool makeRoom(Queue& queue, std::size_t events, std::size_t valueSize);
  // An event of a vector that somebody watches, or that is not staged; `fact` has what is the
  // vector's.
  [[gnu::noinline]] void tellEvent(MrpObserver::Event& fact, std::uint64_t key,
                                   std::uint8_t event) const;
  [[gnu::cold]] void tellUnstaged(MrpObserver::Event& fact, std::uint64_t key,
                                  std::uint8_t event) const;

  const Environment& env_;
  Machines machines_;
  Port& port_;
  MrpParsedAttributes staged_;
  Queue queue_;
  Queue firstQueue_;  // of the types that act before all others
  std::map<std::uint8_t, bool> rxLeaveAll_;
  IntfId intf_;  // of the frame in progress
  int busy_ = 0;
  bool closed_ = false;  // the frame's port, during the frame
  bool recycled_ = false;
};

}  // namespace Mrp

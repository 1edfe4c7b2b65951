#pragma once

#include <cstdint>

#include "platform/reactor/Entity.h"

namespace Mrp {

// Counters of one engine, published as "MrpCounters".
class MRP_API MrpCounters : public Platform::Entity {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpCounters";

  // x() reads, xIs(n) sets, xInc() adds one.
#define MRP_COUNTER(name)                                 \
  std::uint64_t name() const { return name##_; }          \
  void name##Is(std::uint64_t value) { name##_ = value; } \
  void name##Inc() { ++name##_; }                         \
                                                          \
 private:                                                 \
  std::uint64_t name##_ = 0;                              \
                                                          \
 public:

  MRP_COUNTER(numOfPktsProcessed)    // every frame read, good or bad
  MRP_COUNTER(numOfPktsTransmitted)  // MRPDUs handed to an endpoint; flooded copies do not count
  MRP_COUNTER(numOfIncorrectDmac)    // frames for another destination address
  MRP_COUNTER(numOfIncorrectEtype)   // frames with another EtherType
  MRP_COUNTER(numOfIncorrectPduVersion)   // PDUs of a version other than 0
  MRP_COUNTER(numOfMalformedPkts)         // parse steps that found a fault
  MRP_COUNTER(numOfUnknownApplication)    // vectors of an application other than MSRP and MVRP
  MRP_COUNTER(numOfUnknownAttributeType)  // vectors of a type that the application lacks
  MRP_COUNTER(numOfJoinIndications)
  MRP_COUNTER(numOfLeaveIndications)
  MRP_COUNTER(numOfRefusedEvents)  // received events beyond MrpConfig::attributeLimit
#undef MRP_COUNTER

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();
};

}  // namespace Mrp

#pragma once

#include <cstdint>

#include "platform/interface/IntfId.h"
#include "platform/reactor/Entity.h"

namespace Mrp {

// The engine's current attribute, and where the parser stands; one per engine, published as
// "MrpParseContext".
class MRP_API MrpParseContext : public Platform::Entity {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpParseContext";
  explicit MrpParseContext(std::string name) : name_(std::move(name)) {}

  const std::string& name() const { return name_; }

#define MRP_FIELD(type, name)                    \
  type name() const { return name##_; }          \
  void name##Is(type value) { name##_ = value; } \
                                                 \
 private:                                        \
  type name##_{};                                \
                                                 \
 public:

  MRP_FIELD(Platform::IntfId, intfId)               // port of the frame or request
  MRP_FIELD(std::uint8_t, attributeType)            // of the current message or request
  MRP_FIELD(std::uint8_t, attributeLength)          // octets of FirstValue in the current message
  MRP_FIELD(std::uint8_t, attributeEvent)           // three-packed event being processed
  MRP_FIELD(std::uint64_t, attributeKey)            // key of the current attribute
  MRP_FIELD(std::uint16_t, numberOfValues)          // of the current vector, 0..8191
  MRP_FIELD(std::uint16_t, attributeListBytesLeft)  // of the current MSRP message, modulo 65536
  MRP_FIELD(std::uint32_t, eventsCounter)           // events consumed
  MRP_FIELD(std::uint8_t, leaveAll)                 // LeaveAllEvent of the current vector, 0 or 1
  MRP_FIELD(bool, sendTxLvAll)                      // the next new vector carries a LeaveAll
#undef MRP_FIELD

  void attributeListBytesLeftDec(std::size_t octets) {
    attributeListBytesLeft_ = static_cast<std::uint16_t>(attributeListBytesLeft_ - octets);
  }
  void eventsCounterInc(std::uint32_t events) { eventsCounter_ += events; }

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  std::string name_;
};

}  // namespace Mrp

#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "platform/Export.h"
#include "platform/interface/IntfId.h"
#include "platform/packet/Pkt.h"
#include "platform/reactor/Ptr.h"

namespace Mrp {

// One open transmit packet of a port. The packet's data starts at the first message of the MRPDU,
// with head room for what is prepended when it is finished; its whole data room is writable.
// Positions are offsets from the start of the data.
class MRP_API MrpTxPacketContext {
 public:
  static constexpr std::size_t kNone = ~std::size_t{0};

  MrpTxPacketContext(Platform::IntfId intf, Platform::Ptr<Platform::Pkt> pkt)
      : intf_(intf), pkt_(std::move(pkt)), data_(pkt_ ? pkt_->data() : nullptr) {}

  Platform::IntfId intf() const { return intf_; }
  const Platform::Ptr<Platform::Pkt>& pkt() const { return pkt_; }

  // The message being filled: the offset of its AttributeType octet, or kNone.
  std::size_t curMessage() const { return curMessage_; }
  void curMessageIs(std::size_t offset) {
    curMessage_ = offset;
    openTypeIs();
  }
  bool hasMessage() const { return curMessage_ != kNone; }

  // The vector being filled: the offset of its header, or kNone.
  std::size_t curVector() const { return curVector_; }
  void curVectorIs(std::size_t offset) {
    curVector_ = offset;
    openTypeIs();
  }
  bool hasVector() const { return curVector_ != kNone; }

  // The octets at the two positions; there must be a message or vector.
  std::uint8_t* messageData() const { return data_ + curMessage_; }
  std::uint8_t* vectorData() const { return data_ + curVector_; }

  // Attribute type of the message being filled.
  std::uint8_t currentAttrType() const { return currentAttrType_; }
  void currentAttrTypeIs(std::uint8_t type) {
    currentAttrType_ = type;
    openTypeIs();
  }
  // The same where there is a vector being filled in it, else 0.
  std::uint8_t openType() const { return openType_; }

 private:
  void openTypeIs() {
    openType_ = hasMessage() && hasVector() ? currentAttrType_ : std::uint8_t{0};
  }

  Platform::IntfId intf_;
  Platform::Ptr<Platform::Pkt> pkt_;
  std::uint8_t* data_;  // stays where it is until the packet is finished
  std::size_t curMessage_ = kNone;
  std::size_t curVector_ = kNone;
  std::uint8_t currentAttrType_ = 0;
  std::uint8_t openType_ = 0;
};

}  // namespace Mrp

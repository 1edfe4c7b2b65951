#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "platform/reactor/Attributes.h"

namespace Mrp {

class MrpLeaveSm;

// Record of one attribute on one port: 64 octets, the value inline. Owned by the table of its
// (port, attribute type), see AttrTable; it stays at its address until it is deleted.
class alignas(64) MrpAttrDatabase {
 public:
  // Octets of the largest value (talker failed).
  static constexpr std::size_t kMaxValue = 34;
  static constexpr std::string_view typeName = "Mrp::MrpAttrDatabase";

  explicit MrpAttrDatabase(std::uint64_t attributeKey) : attributeKey_(attributeKey) {}

  std::uint64_t attributeKey() const { return attributeKey_; }
  MrpApplicantState applicantState() const { return applicantState_; }
  void applicantStateIs(MrpApplicantState state) { applicantState_ = state; }
  MrpRegistrarState registrarState() const { return registrarState_; }
  void registrarStateIs(MrpRegistrarState state) { registrarState_ = state; }
  bool atRest() const {
    return applicantState_ == MrpApplicantState::vo && registrarState_ == MrpRegistrarState::mt;
  }

  // The value's octets in wire order; empty until one is written.
  std::span<const std::uint8_t> value() const { return {value_.data(), valueSize_}; }
  // At most kMaxValue octets.
  void valueIs(std::span<const std::uint8_t> octets) {
    valueSize_ = static_cast<std::uint8_t>(octets.size());
    if (!octets.empty()) std::memcpy(value_.data(), octets.data(), octets.size());
  }
  // Writes one octet, growing the value to hold it. Throws std::range_error above kMaxValue - 1.
  MRP_API void attributeValueIs(ValueIndex index, std::uint8_t octet);
  bool valueEquals(std::span<const std::uint8_t> octets) const {
    return std::equal(octets.begin(), octets.end(), value_.begin(), value_.begin() + valueSize_);
  }

  // Where the record stands. A record that bears none of the marks is vacant: it only holds a place
  // for a leave timer that still runs.
  bool committed() const { return marks_ & kCommitted; }
  bool pendingAdd() const { return marks_ & kPendingAdd; }
  bool pendingDelete() const { return marks_ & kPendingDelete; }
  // What a look-up finds: committed or about to be, and not about to be deleted.
  bool visible() const { return marks_ == kCommitted || marks_ == kPendingAdd; }

  // Leave machines of the attribute while their timers run (see MrpLeaveSm); not owned.
  MrpLeaveSm* leaveSm() const { return leaveSm_; }
  MrpLeaveSm* explicitLeaveSm() const { return explicitLeaveSm_; }

  MRP_API static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  friend class MrpIntfTypeApplicant;
  static constexpr std::uint8_t kCommitted = 1;
  static constexpr std::uint8_t kPendingAdd = 2;
  static constexpr std::uint8_t kPendingDelete = 4;

  std::vector<std::uint8_t> valueOctets() const {
    return {value_.data(), value_.data() + valueSize_};
  }
  void valueOctetsIs(const std::vector<std::uint8_t>& octets);
  void reset() {
    applicantState_ = MrpApplicantState::vo;
    registrarState_ = MrpRegistrarState::mt;
    valueSize_ = 0;
  }

  std::uint64_t attributeKey_;
  MrpLeaveSm* leaveSm_ = nullptr;
  MrpLeaveSm* explicitLeaveSm_ = nullptr;
  MrpApplicantState applicantState_ = MrpApplicantState::vo;
  MrpRegistrarState registrarState_ = MrpRegistrarState::mt;
  std::uint8_t marks_ = 0;
  std::uint8_t valueSize_ = 0;
  std::array<std::uint8_t, kMaxValue> value_{};
};

static_assert(sizeof(MrpAttrDatabase) == 64, "one record, one cache line");

}  // namespace Mrp

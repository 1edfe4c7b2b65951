#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "mrp/types/MrpLeaveSm.h"
#include "mrp/types/Octets.h"
#include "platform/reactor/Attributes.h"

namespace Mrp {

// Record of one attribute on one port with its leave timers and its value: one cache line, or one
// and a half where values are larger than a VLAN identifier. Owned by the table of its (port,
// attribute type), see AttrTable; it stays at its address until it is deleted.
class MrpAttrDatabase {
 public:
  // Octets of the largest value (talker failed), for which a wide record has room; and of that of a
  // narrow record.
  static constexpr std::size_t kMaxValue = 34;
  static constexpr std::size_t kNarrowValue = 2;
  static constexpr std::string_view typeName = "Mrp::MrpAttrDatabase";
  static constexpr std::size_t size(bool wide) {
    return wide ? sizeof(MrpAttrDatabase) - kNarrowValue + kMaxValue : sizeof(MrpAttrDatabase);
  }

  MrpAttrDatabase(const MrpAttrDatabase&) = delete;
  MrpAttrDatabase& operator=(const MrpAttrDatabase&) = delete;

  std::uint64_t attributeKey() const { return attributeKey_; }
  MrpApplicantState applicantState() const { return applicantState_; }
  void applicantStateIs(MrpApplicantState state) { statesAre(state, registrarState_); }
  MrpRegistrarState registrarState() const { return registrarState_; }
  void registrarStateIs(MrpRegistrarState state) { statesAre(applicantState_, state); }
  bool atRest() const {
    return applicantState_ == MrpApplicantState::vo && registrarState_ == MrpRegistrarState::mt;
  }

  // Declared by this station and registered for nobody: no neighbour has a part in the record.
  bool onlyDeclared() const {
    return registrarState_ == MrpRegistrarState::mt && declares(applicantState_);
  }

  // The value's octets in wire order; empty until one is written.
  std::span<const std::uint8_t> value() const { return {octets(), valueSize_}; }
  std::size_t valueRoom() const { return wide() ? kMaxValue : kNarrowValue; }
  // At most valueRoom() octets.
  void valueIs(std::span<const std::uint8_t> value) {
    valueSize_ = static_cast<std::uint8_t>(value.size());
    copyOctets(octets(), value.data(), value.size());
  }
  // One octet of the value, 0 behind its end.
  std::uint8_t attributeValue(ValueIndex index) const {
    return index.value() < valueSize_ ? octets()[index.value()] : std::uint8_t{0};
  }
  // Writes one octet, growing the value to hold it. Throws std::range_error from valueRoom() on.
  MRP_API void attributeValueIs(ValueIndex index, std::uint8_t octet);
  bool valueEquals(std::span<const std::uint8_t> value) const {
    return value.size() == valueSize_ && sameOctets(octets(), value.data(), valueSize_);
  }

  // Where the record stands. A record that bears none of the marks is vacant: it only stays for
  // a leave timer that still runs. The marks are written by the table.
  enum Mark : std::uint8_t { kCommitted = 1, kPendingAdd = 2, kPendingDelete = 4 };
  unsigned marks() const { return marks_; }
  bool committed() const { return marks_ & kCommitted; }
  bool pendingAdd() const { return marks_ & kPendingAdd; }
  bool pendingDelete() const { return marks_ & kPendingDelete; }
  // What a look-up finds: committed or about to be, and not about to be deleted.
  bool visible() const { return visible(marks_); }
  static constexpr bool visible(unsigned marks) {
    return marks == kCommitted || marks == kPendingAdd;
  }

  // Leave timers, for LeaveAlls and role changes and for a received Lv.
  MrpLeaveSm& leaveSm() { return leaveSm_; }
  const MrpLeaveSm& leaveSm() const { return leaveSm_; }
  MrpLeaveSm& explicitLeaveSm() { return explicitLeaveSm_; }
  const MrpLeaveSm& explicitLeaveSm() const { return explicitLeaveSm_; }

  MRP_API static std::span<const Platform::AttributeInfo> attributeTable();

  // Neither published nor pending, and no timer that needs the place.
  bool idle() const { return marks_ == 0 && !leaveSm_.running() && !explicitLeaveSm_.running(); }
  // At rest, without a value.
  void reset() {
    statesAre(MrpApplicantState::vo, MrpRegistrarState::mt);
    valueSize_ = 0;
  }
  void statesAre(MrpApplicantState applicant, MrpRegistrarState registrar) {
    const bool was = onlyDeclared();
    applicantState_ = applicant;
    registrarState_ = registrar;
    if (onlyDeclared() != was) onlyDeclaredChanged();
  }

  // The record that a leave timer is part of.
  static MrpAttrDatabase& of(MrpLeaveSm& sm) {
    const std::size_t offset = sm.explicitLeave() ? offsetof(MrpAttrDatabase, explicitLeaveSm_)
                                                  : offsetof(MrpAttrDatabase, leaveSm_);
    return *reinterpret_cast<MrpAttrDatabase*>(reinterpret_cast<std::uint8_t*>(&sm) - offset);
  }

 private:
  // Its place and its marks are the table's.
  friend class AttrTable;
  // Of `place_`: the record's number in its page of the table, and whether it is wide.
  static constexpr std::uint8_t kWide = 64;

  MrpAttrDatabase(std::uint64_t attributeKey, std::size_t number, bool wide, unsigned marks)
      : attributeKey_(attributeKey),
        place_(static_cast<std::uint8_t>(number | (wide ? kWide : 0u))),
        marks_(static_cast<std::uint8_t>(marks)) {}
  bool wide() const { return place_ & kWide; }
  unsigned number() const { return place_ & (kWide - 1u); }
  void marksAre(unsigned marks) { marks_ = static_cast<std::uint8_t>(marks); }

  // A wide record's value goes on behind the object, in the room that the table leaves there.
  std::uint8_t* octets() {
    return reinterpret_cast<std::uint8_t*>(this) + sizeof(MrpAttrDatabase) - kNarrowValue;
  }
  const std::uint8_t* octets() const { return const_cast<MrpAttrDatabase*>(this)->octets(); }
  std::vector<std::uint8_t> valueOctets() const { return {octets(), octets() + valueSize_}; }
  // Throws std::range_error when there are more than valueRoom().
  MRP_API void valueOctetsIs(const std::vector<std::uint8_t>& octets);
  // Tells the table, which counts.
  MRP_API void onlyDeclaredChanged();

  std::uint64_t attributeKey_;
  MrpLeaveSm leaveSm_{MrpLeaveSm::kLeave};
  MrpLeaveSm explicitLeaveSm_{MrpLeaveSm::kExplicitLeave};
  std::uint8_t place_;
  std::uint8_t marks_;
  MrpApplicantState applicantState_ = MrpApplicantState::vo;
  MrpRegistrarState registrarState_ = MrpRegistrarState::mt;
  std::uint8_t valueSize_ = 0;
  std::uint8_t spare_ = 0;
  std::array<std::uint8_t, kNarrowValue> value_{};
};

static_assert(sizeof(MrpAttrDatabase) == 64, "one narrow record, one cache line");
static_assert(MrpAttrDatabase::size(true) == 96);

inline MrpAttrDatabase& MrpLeaveSm::record() { return MrpAttrDatabase::of(*this); }
inline bool MrpLeaveSm::leavePendingHas(std::uint64_t key) {
  return leavePending() && record().attributeKey() == key;
}

}  // namespace Mrp

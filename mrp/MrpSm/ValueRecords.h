#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/types/Applications.h"

namespace Mrp {

// The receive and the transmit record of one attribute type.
template <class Value>
struct ValueSlots {
  using Type = Value;
  Value rx{};
  Value tx{};
};

// The scratch records in which attribute values travel between an agent and its engine.
class MRP_API ValueRecords {
 public:
  ValueRecords() = default;
  ValueRecords(const ValueRecords&) = delete;
  ValueRecords& operator=(const ValueRecords&) = delete;

  ValueSlots<MsrpTalkerAdvertiseAttribute> talkerAdvertise;
  ValueSlots<MsrpTalkerFailedAttribute> talkerFailed;
  ValueSlots<MsrpListenerAttribute> listener;
  ValueSlots<MsrpDomainAttribute> domain;
  ValueSlots<MvrpVlanAttribute> vlan;

  // Whose types the images below are.
  void applicationIs(MrpApplication application);

  // The octets of a type's record: the image in which values are staged and stored. Empty for a
  // type that the application lacks.
  std::span<std::uint8_t> rxImage(std::uint8_t type) {
    const Images& of = images(type);
    return {of.rx, of.size};
  }
  std::span<std::uint8_t> txImage(std::uint8_t type) {
    const Images& of = images(type);
    return {of.tx, of.size};
  }
  // The keys of the values in the two records; 0 for a type that the application lacks.
  std::uint64_t rxKey(std::uint8_t type) const { return keyAt(images(type).rx, images(type)); }
  std::uint64_t txKey(std::uint8_t type) const { return keyAt(images(type).tx, images(type)); }

  // Calls `visit` with the records of a type, as what they are. False for a type that the
  // application lacks.
  template <class Visit>
  bool with(MrpApplication application, std::uint8_t type, Visit&& visit) {
    if (application == MrpApplication::mvrp) {
      if (type != static_cast<std::uint8_t>(MvrpAttrType::vlan)) return false;
      visit(vlan);
      return true;
    }
    if (application != MrpApplication::msrp) return false;
    switch (static_cast<MsrpAttrType>(type)) {
      case MsrpAttrType::talkerAdvertise:
        visit(talkerAdvertise);
        return true;
      case MsrpAttrType::talkerFailed:
        visit(talkerFailed);
        return true;
      case MsrpAttrType::listener:
        visit(listener);
        return true;
      case MsrpAttrType::domain:
        visit(domain);
        return true;
      default:
        return false;
    }
  }

  // All records as they are, to be put back: for whoever lets the application run.
  class Saved {
   public:
    explicit Saved(const ValueRecords& from)
        : talkerAdvertise_(from.talkerAdvertise),
          talkerFailed_(from.talkerFailed),
          listener_(from.listener),
          domain_(from.domain),
          vlan_(from.vlan) {}
    // The receive records, or the transmit records.
    void restoreRx(ValueRecords& to) const;
    void restoreTx(ValueRecords& to) const;

   private:
    ValueSlots<MsrpTalkerAdvertiseAttribute> talkerAdvertise_;
    ValueSlots<MsrpTalkerFailedAttribute> talkerFailed_;
    ValueSlots<MsrpListenerAttribute> listener_;
    ValueSlots<MsrpDomainAttribute> domain_;
    ValueSlots<MvrpVlanAttribute> vlan_;
  };

 private:
  struct Images {
    std::uint8_t* rx = nullptr;
    std::uint8_t* tx = nullptr;
    std::uint8_t size = 0;
    std::uint8_t keyOctets = 0;
  };
  const Images& images(std::uint8_t type) const { return images_[type <= kMostTypes ? type : 0]; }
  static std::uint64_t keyAt(const std::uint8_t* octets, const Images& of) {
    std::uint64_t key = 0;
    for (std::size_t i = 0; i < of.keyOctets; ++i) key = key << 8 | octets[i];
    return key;
  }

  std::array<Images, kMostTypes + 1> images_{};  // 0 is none
};

}  // namespace Mrp

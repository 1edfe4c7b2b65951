#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/types/Applications.h"
#include "mrp/types/BigEndian.h"
#include "mrp/types/Octets.h"

namespace Mrp {

// The receive and the transmit record of one attribute type.
template <class Value>
struct ValueSlots {
  using Type = Value;
  Value rx{};
  Value tx{};
};

struct AllValueSlots {
  ValueSlots<MsrpTalkerAdvertiseAttribute> talkerAdvertise;
  ValueSlots<MsrpTalkerFailedAttribute> talkerFailed;
  ValueSlots<MsrpListenerAttribute> listener;
  ValueSlots<MsrpDomainAttribute> domain;
  ValueSlots<MvrpVlanAttribute> vlan;
};

// The scratch records in which attribute values travel between an agent and its engine.
class MRP_API ValueRecords : public AllValueSlots {
 public:
  ValueRecords() = default;
  ValueRecords(const ValueRecords&) = delete;
  ValueRecords& operator=(const ValueRecords&) = delete;

  // Whose types the images below are.
  void applicationIs(MrpApplication application);

  // Where the records of a type are, for whoever asks for more than one of the things below.
  struct Images {
    std::uint8_t* rx = nullptr;
    std::uint8_t* tx = nullptr;
    std::size_t size = 0;
    std::size_t keyOctets = 0;

    std::span<std::uint8_t> rxImage() const { return {rx, size}; }
    std::span<std::uint8_t> txImage() const { return {tx, size}; }
    std::uint64_t rxKey() const { return keyAt(rx); }
    std::uint64_t txKey() const { return keyAt(tx); }

   private:
    std::uint64_t keyAt(const std::uint8_t* octets) const {
      if (keyOctets == 2) [[likely]]
        return readU16(octets);
      std::uint64_t key = 0;
      for (std::size_t i = 0; i < keyOctets; ++i) key = key << 8 | octets[i];
      return key;
    }
  };
  const Images& images(std::uint8_t type) const { return images_[type <= kMostTypes ? type : 0]; }

  // The octets of a type's record: the image in which values are staged and stored. Empty for a
  // type that the application lacks.
  std::span<std::uint8_t> rxImage(std::uint8_t type) { return images(type).rxImage(); }
  std::span<std::uint8_t> txImage(std::uint8_t type) { return images(type).txImage(); }
  // Both records of a type take a stored value, or what there is of it.
  void takeImage(std::uint8_t type, std::span<const std::uint8_t> value) {
    const Images& of = images(type);
    if (value.size() == 2 && of.size == 2) {
      std::memcpy(of.rx, value.data(), 2);
      std::memcpy(of.tx, value.data(), 2);
    } else {
      const std::size_t size = std::min<std::size_t>(value.size(), of.size);
      copyOctets(of.rx, value.data(), size);
      copyOctets(of.tx, value.data(), size);
    }
  }
  // The receive record takes one image of a type's value, the transmit record another.
  void takeImages(std::uint8_t type, const std::uint8_t* rx, const std::uint8_t* tx) {
    const Images& of = images(type);
    copyOctets(of.rx, rx, of.size);
    copyOctets(of.tx, tx, of.size);
  }
  // The keys of the values in the two records; 0 for a type that the application lacks.
  std::uint64_t rxKey(std::uint8_t type) const { return images(type).rxKey(); }
  std::uint64_t txKey(std::uint8_t type) const { return images(type).txKey(); }

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
    explicit Saved(const ValueRecords& from) : saved_(from) {}
    // The receive records, or the transmit records.
    void restoreRx(ValueRecords& to) const;
    void restoreTx(ValueRecords& to) const;

   private:
    AllValueSlots saved_;
  };

 private:
  std::array<Images, kMostTypes + 1> images_{};  // 0 is none
};

}  // namespace Mrp

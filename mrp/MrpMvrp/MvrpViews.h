#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "mrp/MrpMsrp/PktView.h"
#include "mrp/MrpMvrp/MvrpValues.h"
#include "mrp/types/BigEndian.h"

// Messages and vectors of an MVRP MRPDU seen in place (IEEE 802.1Q-2018 10.8.1.2, 11.2.3). The
// packed events of a vector follow its FirstValue.
namespace Mrp {

struct MvrpMessageHeader {
  std::uint8_t attributeType = 0;  // MvrpAttrType
  std::uint8_t attributeLength = 0;
};

struct MvrpVlanVector {
  BigEndian<std::uint16_t> vectorHeader;  // LeaveAllEvent x 8192 + NumberOfValues
  MvrpVlanAttribute firstValue;
};

static_assert(sizeof(MvrpMessageHeader) == 2 && sizeof(MvrpVlanVector) == 4);

using MvrpMessageHeaderWrapper = PktView<MvrpMessageHeader, "MvrpMessageHeaderWrapper">;
using MvrpVlanVectorWrapper = PktView<MvrpVlanVector, "MvrpVlanVectorWrapper">;

inline MvrpMessageHeaderWrapper mvrpMessageHeaderWrapperFactory(Platform::Ptr<Platform::Pkt> pkt,
                                                                std::size_t offset) {
  return {std::move(pkt), offset};
}
inline MvrpVlanVectorWrapper mvrpVlanVectorWrapperFactory(Platform::Ptr<Platform::Pkt> pkt,
                                                          std::size_t offset) {
  return {std::move(pkt), offset};
}

}  // namespace Mrp

#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "mrp/MrpMsrp/MsrpValues.h"
#include "mrp/MrpMsrp/PktView.h"
#include "mrp/types/BigEndian.h"

// Messages and vectors of an MSRP MRPDU seen in place (IEEE 802.1Q-2018 10.8.1.2, 35.2.2). The
// packed events of a vector follow its FirstValue.
namespace Mrp {

struct MsrpMessageHeader {
  std::uint8_t attributeType = 0;  // MsrpAttrType
  std::uint8_t attributeLength = 0;
  BigEndian<std::uint16_t> attributeListLength;  // octets that follow, end mark included
};

// LeaveAllEvent x 8192 + NumberOfValues, then FirstValue.
template <class FirstValue>
struct MsrpVector {
  BigEndian<std::uint16_t> vectorHeader;
  FirstValue firstValue;
};
using MsrpTalkerVector = MsrpVector<MsrpTalkerAdvertiseAttribute>;
using MsrpTalkerFailedVector = MsrpVector<MsrpTalkerFailedAttribute>;
using MsrpListenerVector = MsrpVector<MsrpListenerStreamAttribute>;
using MsrpDomainVector = MsrpVector<MsrpDomainAttribute>;

static_assert(sizeof(MsrpMessageHeader) == 4 && sizeof(MsrpTalkerVector) == 27 &&
              sizeof(MsrpTalkerFailedVector) == 36 && sizeof(MsrpListenerVector) == 10 &&
              sizeof(MsrpDomainVector) == 6);

using MsrpMessageHeaderWrapper = PktView<MsrpMessageHeader, "MsrpMessageHeaderWrapper">;
using MsrpTalkerVectorWrapper = PktView<MsrpTalkerVector, "MsrpTalkerVectorWrapper">;
using MsrpTalkerFailedVectorWrapper =
    PktView<MsrpTalkerFailedVector, "MsrpTalkerFailedVectorWrapper">;
using MsrpListenerVectorWrapper = PktView<MsrpListenerVector, "MsrpListenerVectorWrapper">;
using MsrpDomainVectorWrapper = PktView<MsrpDomainVector, "MsrpDomainVectorWrapper">;

inline MsrpMessageHeaderWrapper msrpMessageHeaderWrapperFactory(Platform::Ptr<Platform::Pkt> pkt,
                                                                std::size_t offset) {
  return {std::move(pkt), offset};
}
inline MsrpTalkerVectorWrapper msrpTalkerVectorWrapperFactory(Platform::Ptr<Platform::Pkt> pkt,
                                                              std::size_t offset) {
  return {std::move(pkt), offset};
}
inline MsrpTalkerFailedVectorWrapper msrpTalkerFailedVectorWrapperFactory(
    Platform::Ptr<Platform::Pkt> pkt, std::size_t offset) {
  return {std::move(pkt), offset};
}
inline MsrpListenerVectorWrapper msrpListenerVectorWrapperFactory(Platform::Ptr<Platform::Pkt> pkt,
                                                                  std::size_t offset) {
  return {std::move(pkt), offset};
}
inline MsrpDomainVectorWrapper msrpDomainVectorWrapperFactory(Platform::Ptr<Platform::Pkt> pkt,
                                                              std::size_t offset) {
  return {std::move(pkt), offset};
}

}  // namespace Mrp

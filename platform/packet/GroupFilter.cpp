#include "platform/packet/GroupFilter.h"

#include "platform/packet/EthFrame.h"

namespace Platform {

std::vector<FilterInstruction> groupFilter(EthAddr address, std::uint16_t etherType) {
  using namespace FilterCode;
  using namespace EthFrame;
  constexpr std::uint32_t kAccept = 65535;
  constexpr auto at = [](std::size_t offset) { return static_cast<std::uint32_t>(offset); };
  const auto upper = static_cast<std::uint16_t>(address.number() >> 32);
  const auto lower = static_cast<std::uint32_t>(address.number());
  return {
      /*  0 */ {kLoadWordAbs, 0, 0, at(kDestination + 2)},
      /*  1 */ {kJumpEqual, 0, 8, lower},
      /*  2 */ {kLoadHalfAbs, 0, 0, at(kDestination)},
      /*  3 */ {kJumpEqual, 0, 6, upper},
      /*  4 */ {kLoadHalfAbs, 0, 0, at(kEtherType)},
      /*  5 */ {kJumpEqual, 3, 0, etherType},
      /*  6 */ {kJumpEqual, 0, 3, kTpid8021q},
      /*  7 */ {kLoadHalfAbs, 0, 0, at(kEtherType + kTag)},
      /*  8 */ {kJumpEqual, 0, 1, etherType},
      /*  9 */ {kReturn, 0, 0, kAccept},
      /* 10 */ {kReturn, 0, 0, 0},
  };
}

}  // namespace Platform

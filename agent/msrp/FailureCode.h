#pragma once

#include <cstdint>

namespace Mrp {

// Reasons for a Talker Failed (IEEE 802.1Q-2022 table 46-15). Those that this bridge gives itself
// have a name here; all are passed on.
enum class FailureCode : std::uint8_t {
  none = 0,
  bandwidth = 1,
  bridgeResources = 2,
  classBandwidth = 3,
  streamIdInUse = 4,
  addressInUse = 5,
  preempted = 6,
  latencyChanged = 7,
  notCapable = 8,
  useAnotherAddress = 9,
  streamResources = 10,
  addressTableFull = 12,
  priorityOfNoClass = 13,
  frameTooLarge = 14,
  fanInLimit = 15,
  firstValueChanged = 16,
  vlanBlocked = 17,
  taggingDisabled = 18,
  priorityMismatch = 19,
};

// "insufficient bandwidth"; null for a number that the table does not have.
const char* failureText(std::uint8_t code);

}  // namespace Mrp

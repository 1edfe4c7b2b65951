#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/msrp/FailureCode.h"
#include "agent/msrp/ListenerMerge.h"
#include "agent/msrp/StreamForwarding.h"
#include "mrp/MrpMsrp/MsrpValues.h"
#include "platform/time/Seconds.h"

// What a bridge of MSRP has decided, for people and programs to read.
namespace Mrp {

// One stream on one port that is not its talker's.
struct StreamPortState {
  Platform::IntfId intf;
  TalkerKind declared = TalkerKind::none;
  // Of a failure that is declared: why, by which bridge.
  std::uint8_t code = 0;
  std::uint64_t bridgeId = 0;
  std::uint32_t latency = 0;  // accumulated, nanoseconds; of what is declared
  MsrpListenerEvent listener = MsrpListenerEvent::ignore;  // registered; ignore is none
  bool reserved = false;
  // Of the stream's class on the port; 0 for a priority of no class.
  BitsPerSecond allowed = 0;
  BitsPerSecond inUse = 0;
  BitsPerSecond left = 0;  // for a further stream of the class and of rank 1
};

struct StreamState {
  std::uint64_t id = 0;
  std::optional<Platform::IntfId> talker;  // the port it comes in by
  MsrpTalkerFailedAttribute value;         // as registered there
  bool failed = false;                     // so it is registered
  std::optional<SrClass> srClass;
  BitsPerSecond need = 0;
  // When it is a new stream although it has changed while it was registered; never: it did not.
  Platform::Seconds recoversAt = Platform::Seconds::never();
  MsrpListenerEvent merged = MsrpListenerEvent::ignore;  // declared on the talker's port
  std::vector<Platform::IntfId> otherTalkers;            // ports that wait for it to leave
  std::vector<StreamPortState> ports;                    // every one but the talker's, in order
};

// One class on one port.
struct BandwidthState {
  Platform::IntfId intf;
  SrClass srClass = SrClass::a;
  BitsPerSecond rate = 0;
  std::uint32_t delta = 0;     // per cent
  BitsPerSecond limit = 0;     // of the class with those above it
  BitsPerSecond reserved = 0;  // by the class
  BitsPerSecond left = 0;      // for a further stream of the class
  BitsPerSecond slope = 0;     // as the switch was told
  bool boundary = true;
};

struct ReservationState {
  std::uint16_t vlan = 0;
  Platform::EthAddr address;
  PortSet ports;
};
struct SlopeState {
  Platform::IntfId intf;
  SrClass srClass;
  BitsPerSecond slope;
};
struct BoundaryState {
  Platform::IntfId intf;
  SrClass srClass;
};

}  // namespace Mrp

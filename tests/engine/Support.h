#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpCounters.h"
#include "mrp/types/MrpStatus.h"
#include "platform/embedded/Switch.h"
#include "platform/embedded/VirtualClock.h"

// A switch with one engine on virtual time, frames built and read octet by octet. All of it, and
// every test here, goes through the engine's face; internal/ holds those that look behind it.
namespace EngineTest {

using namespace Mrp;
using namespace Platform;
using Embedded::Switch;
using Embedded::VirtualClock;
using Octets = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;
using State = MrpApplicantState;
using Registrar = MrpRegistrarState;
using Role = Stp::MstiPortStatus::Role;

// Attribute events, and the requests beyond them.
enum Event : std::uint8_t { New, JoinIn, In, JoinMt, Mt, Lv, LeaveAll, InternalLeave };
enum Declaration : std::uint8_t { ignore, askingFailed, ready, readyFailed };

struct App {
  MrpApplication application;
  std::uint64_t address;
  std::uint16_t etype;
  std::uint8_t types = 0;  // attribute types 1 to this
};
inline constexpr App kMsrp{MrpApplication::msrp, 0x0180c200000e, 0x22ea, 4};
inline constexpr App kMvrp{MrpApplication::mvrp, 0x0180c2000021, 0x88f5, 1};

// --- Building MRPDUs -----------------------------------------------------------------------------

inline Octets operator+(Octets a, const Octets& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}
Octets number(std::uint64_t value, std::size_t octets);

// FirstValues. A talker's other fields are as a station that reserves one small frame sends them.
inline Octets vlan(std::uint16_t id) { return number(id, 2); }
Octets talker(std::uint64_t stream, std::uint64_t dmac = 0x91e0f000fe00,
              std::uint32_t latency = 1000);
Octets failed(std::uint64_t stream, std::uint8_t code = 1);
inline Octets stream(std::uint64_t id) { return number(id, 8); }
Octets domain(std::uint8_t classId, std::uint8_t priority, std::uint16_t vid);
// A listener as it is requested and stored.
Octets listener(std::uint64_t stream, Declaration declaration);

using Events = std::vector<std::uint8_t>;
// `declarations` for listeners only.
Octets vec(const Octets& firstValue, const Events& events, bool leaveAll = false,
           const std::vector<std::uint8_t>& declarations = {});
Octets leaveAllVec(std::size_t firstValueSize);
Octets message(const App& app, std::uint8_t type, const Octets& vectors);
inline Octets pdu(const Octets& messages, std::uint8_t version = 0) {
  return Octets{version} + messages + Octets{0, 0};
}
// The usual short cuts: a whole MRPDU of one vector.
Octets vlans(std::uint16_t first, const Events& events, bool leaveAll = false);
Octets streams(std::uint8_t type, const Octets& firstValue, const Events& events,
               bool leaveAll = false, const std::vector<std::uint8_t>& declarations = {});

Octets frame(const App& app, const Octets& pdu, const Octets& tag = {});

// --- Reading them --------------------------------------------------------------------------------

// What a frame says, for instance "1:LA 10=JoinIn,Mt; 1:20=Lv | 1:LA": type, LeaveAll, key of
// FirstValue (hexadecimal for streams) and events; "; " between vectors, " | " between messages.
// Begins with "bad" when the frame is not a well-formed MRPDU of the application.
std::string decoded(const App& app, std::span<const std::uint8_t> frame);
std::string keyText(const App& app, std::uint8_t type, std::uint64_t key);

// --- The switch ----------------------------------------------------------------------------------

// Notes indications, "+1:10 JoinIn port1" for a join and "-…" for a leave, and asks `onJoin` and
// `onLeave` where they are set.
class RecordingLib final : public MrpLib {
 public:
  bool mrpJoinIndication(const MrpParameters& parameters) override;
  void mrpLeaveIndication(const MrpParameters& parameters) override;
  Texts take() { return std::exchange(log, {}); }

  Texts log;
  std::function<bool(const MrpParameters&)> onJoin;
  std::function<void(const MrpParameters&)> onLeave;

 private:
  void note(char sign, const MrpParameters& parameters);
};

// A switch whose endpoints take every frame, and whatever service object its engine serves.
class Rig {
 public:
  Rig(const App& app, Ptr<MrpLib> served, Ptr<VirtualClock> clock);
  ~Rig();
  Rig(const Rig&) = delete;
  Rig& operator=(const Rig&) = delete;

  // Makes the engine; the status of the one before it stays.
  void start(bool standby = false);

  // The device "port<n>".
  IntfId device(unsigned n, std::uint32_t mtu = 1500);
  void roleIs(IntfId intf, Role role, const std::string& msti = Stp::kCist);
  bool receive(IntfId intf, const Octets& pdu, double unread = 0) {
    return sw->receive(intf, frame(app, pdu), unread);
  }

  // Decoded frames sent on a port since the last call; of all ports, "port1 <text>".
  Texts sent(IntfId intf);
  Texts sent();
  std::vector<Octets> sentFrames(IntfId intf);

  // "1:10 QA/IN" for each attribute that a look-up finds, in order of type and key.
  Texts attributes(IntfId intf) const;
  std::string attribute(IntfId intf, std::uint8_t type, std::uint64_t key) const;
  // What a look-up finds.
  MrpAttrDatabase* record(IntfId intf, std::uint8_t type, std::uint64_t key) const;
  Octets value(IntfId intf, std::uint8_t type, std::uint64_t key) const;
  // What is registered (IN) on a port.
  std::set<std::uint64_t> registered(IntfId intf, std::uint8_t type) const;
  // Records of one port and type: committed ones, and all, those hidden and vacant included.
  std::size_t committed(IntfId intf, std::uint8_t type) const;
  std::size_t records(IntfId intf, std::uint8_t type) const;
  // Texts of the event log since the last call, "MRP_JOIN …".
  Texts logged();
  // Due time of a pending LeaveAll, -1 when there is none.
  double leaveAllDue(IntfId intf, std::uint8_t type) const;
  bool leaving(IntfId intf, std::uint8_t type, std::uint64_t key, bool explicitLeave) const;

  Ptr<VirtualClock> clock;
  App app;
  std::unique_ptr<Switch> sw;
  Ptr<MrpLib> served;
  Ptr<MrpConfig> config = makePtr<MrpConfig>();
  Ptr<MrpStatus> status = makePtr<MrpStatus>();
  Ptr<Engine> engine;

 private:
  MrpIntfTypeApplicant* typeApplicant(IntfId intf, std::uint8_t type) const {
    return status->applicationIs(app.application).typeApplicant(intf, type);
  }
  struct Frame {
    IntfId intf;
    Octets octets;
  };
  std::vector<Frame> sent_;
};

class Station : public Rig {
 public:
  enum class Start { active, standby, none };
  explicit Station(const App& app, Start start = Start::active,
                   Ptr<VirtualClock> clock = makePtr<VirtualClock>());

  // The same with its endpoint open.
  IntfId port(unsigned n, std::uint32_t mtu = 1500);

  // A request for one port, its value in the staged image.
  void request(IntfId intf, std::uint8_t type, const Octets& value, Event event);
  void request(IntfId intf, std::uint16_t vlanId, Event event) {
    request(intf, 1, vlan(vlanId), event);
  }

  const Ptr<RecordingLib> lib;
};

// Sets or removes the variable that fixes LeaveAll periods, and puts it back.
class Randomisation {
 public:
  explicit Randomisation(bool on);
  ~Randomisation();
  void on(bool on);

 private:
  bool was_;
};

// Tests with fixed LeaveAll periods.
class EngineTest : public testing::Test {
 protected:
  Randomisation fixed{false};
};

}  // namespace EngineTest

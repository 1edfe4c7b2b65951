#pragma once

#include <memory>
#include <optional>
#include <string>

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/db/MrpAttrIter.h"
#include "mrp/types/MrpAttribute.h"
#include "mrp/types/MrpEnums.h"
#include "platform/stp/StpStatus.h"

namespace Platform {
class Clock;
class DesiredIntfDir;
class DeviceIntfStatusDir;
class EthDevPamManager;
class EventLog;
class IntfStatusDir;
class IntfStatusManagerRoot;
class PktManager;
class TimerWheel;
class Trace;
}  // namespace Platform

namespace Mrp {

class MrpApplicantSm;
class MrpAttrLogSm;
class MrpDatabaseAddSm;
class MrpDatabaseDeleteSm;
class MrpLeaveAllSm;
class MrpPamSm;
class MrpParseContext;
class MrpParsedAttributes;
class MrpRegistrarSm;
struct EngineRooms;
struct MrpParsedAttribute;

// Root of one engine. Its subsystems are rooms, each with its own state (see engine/Rooms.h); what
// stands here under the name of an operation is a way into the room that does it. Agents use the
// face, Engine.
class MRP_API MrpSm final : public Engine {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpSm";
  using Role = Stp::MstiPortStatus::Role;

  explicit MrpSm(const Inputs& inputs);
  ~MrpSm() override;
  // Ends all work for a service object that is about to end: nothing is received, sent or timed any
  // more.
  void mrpLibGone();

  // --- Engine ------------------------------------------------------------------------------------
  const Inputs& inputs() const override;
  bool active() const override;
  void activate() override;
  Platform::PamCollection& endpoints() const override;
  bool enabled(IntfId intf) const override;
  const MrpApplicationDatabase& database() const override;
  void walkRecords(IntfId intf, std::uint8_t type,
                   const std::function<void(const MrpAttrDatabase&)>& visit) const override;
  std::optional<Seconds> leaveAllDue(const MrpLeaveAllKey& key) const override;
  void sendLeaveAll(IntfId intf) override;
  void doubt(IntfId intf) override;
  const MrpCounters* counters() const override;
  Platform::Signal<IntfId>& onFrame() override;
  bool frameInProgress() const override;
  void observerIs(MrpObserver* observer) override;

  // --- Inputs and services -----------------------------------------------------------------------
  const Platform::BridgingConfig& brConfig() const;
  MrpLib* mrpLib() const;
  const Ptr<MrpConfig>& mrpConfig() const;
  const Ptr<MrpStatus>& mrpStatus() const;
  const Ptr<Stp::StpStatus>& stpStatus() const;
  const Ptr<Platform::BridgingTopologyConfig>& brTopoConfig() const;
  const Ptr<Platform::EthPhyIntfStatusDir>& ethPhyIntfStatusDir() const;
  Platform::Trace& trace() const;
  Platform::EventLog& eventLog() const;
  MrpApplicationDatabase* applicationDatabase() const;
  std::uint8_t protocolVersion() const;
  void protocolVersionIs(std::uint8_t version);

  // --- Lifecycle ---------------------------------------------------------------------------------
  bool standbyMode() const;
  // The agent clears the flag and then calls handleStandbyMode.
  void standbyModeIs(bool standbyMode);
  // Activates the engine when it is out of standby; nothing otherwise, nor on an active engine that
  // is told to go back.
  void handleStandbyMode();
  void hasNotificationActiveIs(bool active) override;
  bool initialized() const;
  // What the engine is attached to; null once its service object has ended.
  Platform::DesiredIntfDir* desiredIntfDir() const;
  Platform::PamCollection* pamCollection() const;
  Platform::IntfStatusDir* allIntfStatusDir() const;
  Platform::IntfStatusDir* allIntfStatusLocalDir() const;
  Platform::DeviceIntfStatusDir* deviceIntfStatusDir() const;
  Platform::IntfStatusManagerRoot* intfStatusManagerRoot() const;
  Platform::EthDevPamManager* pamMan() const;

  // --- Machines and scratch records; null in standby except mrpPamSm -----------------------------
  MrpPamSm* mrpPamSm() const;
  MrpApplicantSm* applicantSm() const;
  MrpRegistrarSm* registrarSm() const;
  MrpLeaveAllSm* leaveAllSm() const;
  MrpAttrLogSm* mrpAttrLogSm() const;
  MrpDatabaseAddSm* mrpDatabaseAddSm() const;
  MrpDatabaseDeleteSm* mrpDatabaseDeleteSm() const;
  Platform::TimerWheel* timerWheel() const;
  // Keeps a wheel that has the same clock and parameters, otherwise makes a new one.
  void timerWheelIs(Ptr<Platform::Clock> clock, std::uint32_t tickMsecs,
                    std::uint32_t initialMaxTicks, bool preserveOrder,
                    std::uint32_t defaultBucketSize);
  MrpParseContext* parseContext() const;
  MrpCounters* mrpCounters() const;
  // Attribute types of the application: 4 for MSRP, 1 for MVRP, 0 for others and in standby.
  std::uint8_t maxAttrTypes() const;
  // Marks the next PDU as injected anew: it is decoded, and nothing of it is acted on.
  bool recycledPkt() const;
  void recycledPktIs(bool recycled);

  // All below assert that the engine is active, unless they say otherwise.

  // --- Receive path (rx/) ------------------------------------------------------------------------
  void parseMrpdu(Pkt& pkt);
  MrpParseStatus parseMessage(Pkt& pkt);
  MrpParseStatus parseAttributeList(Pkt& pkt);
  MrpParseStatus parseVectorAttribute(Pkt& pkt);
  MrpParseStatus skipMessageDueToFutureProtocolVersion(Pkt& pkt);
  MrpParseStatus parseMsrpVector(Pkt& pkt);
  MrpParseStatus parseMvrpVector(Pkt& pkt);
  MrpParsedAttributes& mrpParsedAttribute();
  bool mrpRxLeaveAll(std::uint8_t type) const;
  void mrpRxLeaveAllIs(std::uint8_t type, bool received);
  void processParsedAttributes(IntfId intf);
  void processParsedAttribute(const MrpParsedAttribute& parsed, IntfId intf);
  void mrpProcessRxLeaveAll(IntfId intf, std::uint8_t type);
  bool mrpRxVectorSameAsDatabaseAttr();

  // Keys of the values in the receive and transmit records of the current type.
  std::uint64_t mrpGetRxAttributeKey() const;
  std::uint64_t mrpGetTxAttributeKey() const;

  // --- Attribute database (db/) ------------------------------------------------------------------
  // Null when there is no such record. One that is about to be deleted is not found; one that waits
  // to be added only with `includePending`. In standby, too.
  MrpAttrDatabase* mrpGetAttrFromDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                          bool includePending) const;
  // Record of the current attribute, made on demand; null when memory for it cannot be had.
  MrpAttrDatabase* mrpGetAttribute(bool create);
  MrpAttrDatabase* mrpAddAttrToDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                        bool fromTransmitRecord);
  void mrpDeleteAttrFromDatabase();
  MrpAttrDatabase* addAttrToAddPending(const MrpAttribute& attribute);
  void addAttrToDeletePending(const MrpAttribute& attribute);
  void mrpPopulateValueInDatabase(MrpAttrDatabase& record, bool fromTransmitRecord);
  void mrpFillContextFromDatabase(const MrpAttribute& attribute);
  // The attribute index of one port and type; none when it is empty. In standby, too.
  std::optional<MrpAttrIter> mrpAttrIter(const MrpAttrIter::Key& key) const;

  // --- Transmit path (tx/) -----------------------------------------------------------------------
  void mrpTransmitTxPacket(IntfId intf, bool second);
  void mrpTransmitTxAttributes(IntfId intf);
  void mrpTransmitTxAttributes();
  Seconds mrpGetLeaveTime(IntfId intf) const;

  // --- Spanning tree; in standby, too ------------------------------------------------------------
  void handleRole(const std::string& stpiName, const std::string& mstiName,
                  const std::string& intfName);
  // Last role seen; none when there was no change yet.
  std::optional<Role> oldPortRole(IntfId intf) const;

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

  // For MrpLib, which forwards its requests.
  EngineRooms& rooms() const { return *rooms_; }

 private:
  Platform::Described describeCounters() const;
  Platform::Described describeParseContext() const;
  Platform::Described describePamSm() const;

  std::unique_ptr<EngineRooms> rooms_;
};

// Creates an engine and switches its notifications on. MrpLib::application must be set.
MRP_API Ptr<MrpSm> mrpSmFactory(Ptr<Platform::BridgingConfig> brConfig, MrpLib* mrpLib,
                                Ptr<MrpConfig> mrpConfig, Ptr<MrpStatus> mrpStatus,
                                Ptr<Stp::StpStatus> stpStatus,
                                Ptr<Platform::BridgingTopologyConfig> brTopoConfig,
                                Ptr<Platform::EthPhyIntfStatusDir> ethPhyIntfStatusDir,
                                Ptr<Platform::EntityManager> entityManager, bool standbyMode);

}  // namespace Mrp

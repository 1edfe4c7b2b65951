#pragma once

#include <map>
#include <memory>
#include <string>

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/db/MrpAttrIter.h"
#include "mrp/MrpSm/db/MrpAttrLogSm.h"
#include "mrp/MrpSm/db/MrpDatabaseSm.h"
#include "mrp/MrpSm/engine/MrpPamSm.h"
#include "mrp/MrpSm/engine/StpWatchers.h"
#include "mrp/MrpSm/rx/ParsedAttributes.h"
#include "mrp/MrpSm/rx/RefusedEvents.h"
#include "mrp/MrpSm/sm/MrpApplicantSm.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "mrp/MrpSm/sm/MrpRegistrarSm.h"
#include "mrp/types/MrpConfig.h"
#include "mrp/types/MrpCounters.h"
#include "mrp/types/MrpParseContext.h"
#include "mrp/types/MrpStatus.h"
#include "platform/Assert.h"
#include "platform/bridging/BridgingConfig.h"
#include "platform/interface/IntfStatus.h"
#include "platform/packet/PktReader.h"
#include "platform/state/EntityManager.h"
#include "platform/stp/StpStatus.h"

namespace Mrp {

// Root of one engine: one object for each running MRP application. Holds the inputs, owns every
// machine, and keeps the scratch state of the frame or request being worked on. In standby it has
// its inputs and endpoints and nothing else; activation is one-way.
//
// Everything runs on the agent's event loop, each frame, timer or request to completion.
class MRP_API MrpSm final : public Engine {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpSm";
  explicit MrpSm(const Inputs& inputs);
  ~MrpSm() override;

  // --- Engine ------------------------------------------------------------------------------------
  const Inputs& inputs() const override { return inputs_; }
  void activate() override;
  Platform::PamCollection& endpoints() const override { return *pamCollection_; }
  bool enabled(IntfId intf) const override { return desiredIntfDir_->intfDesired(intf); }
  const MrpApplicationDatabase& database() const override { return *database_; }
  void walkRecords(IntfId intf, std::uint8_t type,
                   const std::function<void(const MrpAttrDatabase&)>& visit) const override;
  std::optional<Seconds> leaveAllDue(const MrpLeaveAllKey& key) const override;
  void sendLeaveAll(IntfId intf) override;
  const MrpCounters* counters() const override { return mrpCounters_.get(); }
  Platform::Signal<IntfId>& onFrame() override { return onFrame_; }
  bool frameInProgress() const override { return framesInProgress_ > 0; }
  void observerIs(MrpObserver* observer) override { observer_ = observer; }

  // --- Inputs and services -----------------------------------------------------------------------
  const Platform::BridgingConfig& brConfig() const { return *brConfig_; }
  MrpLib* mrpLib() const { return mrpLib_; }
  const Ptr<MrpConfig>& mrpConfig() const { return mrpConfig_; }
  const Ptr<MrpStatus>& mrpStatus() const { return mrpStatus_; }
  const Ptr<Stp::StpStatus>& stpStatus() const { return stpStatus_; }
  const Ptr<Platform::BridgingTopologyConfig>& brTopoConfig() const { return brTopoConfig_; }
  const Ptr<Platform::EthPhyIntfStatusDir>& ethPhyIntfStatusDir() const {
    return ethPhyIntfStatusDir_;
  }
  Platform::Trace& trace() const { return *trace_; }
  Platform::EventLog& eventLog() const { return *eventLog_; }
  Platform::PktManager& pktManager() const { return *pktManager_; }
  // This application's database in MrpStatus.
  MrpApplicationDatabase* applicationDatabase() const { return database_; }
  std::uint8_t protocolVersion() const { return protocolVersion_; }
  void protocolVersionIs(std::uint8_t version) { protocolVersion_ = version; }

  // --- Lifecycle (engine/) -----------------------------------------------------------------------
  bool standbyMode() const { return standbyMode_; }
  // The agent clears the flag and then calls handleStandbyMode.
  void standbyModeIs(bool standbyMode) { standbyMode_ = standbyMode; }
  // Activates the engine when it is out of standby; nothing otherwise, nor on an active engine that
  // is told to go back.
  void handleStandbyMode();
  void hasNotificationActiveIs(bool active) override;
  bool initialized() const { return initialized_; }
  // All machines are in place.
  bool active() const override { return active_; }

  Platform::DesiredIntfDir* desiredIntfDir() const { return desiredIntfDir_.get(); }
  Platform::PamCollection* pamCollection() const { return pamCollection_.get(); }
  Platform::IntfStatusDir* allIntfStatusDir() const { return allIntfStatusDir_.get(); }

  // --- Machines; null in standby except mrpPamSm
  // ----------------------------------------------------
  MrpPamSm* mrpPamSm() const { return mrpPamSm_.get(); }
  MrpApplicantSm* applicantSm() const { return applicantSm_.get(); }
  MrpRegistrarSm* registrarSm() const { return registrarSm_.get(); }
  MrpLeaveAllSm* leaveAllSm() const { return leaveAllSm_.get(); }
  MrpAttrLogSm* mrpAttrLogSm() const { return mrpAttrLogSm_.get(); }
  MrpDatabaseAddSm* mrpDatabaseAddSm() const { return mrpDatabaseAddSm_.get(); }
  MrpDatabaseDeleteSm* mrpDatabaseDeleteSm() const { return mrpDatabaseDeleteSm_.get(); }
  Platform::TimerWheel* timerWheel() const { return timerWheel_.get(); }
  // Keeps a wheel that has the same clock and parameters, otherwise makes a new one.
  void timerWheelIs(Ptr<Platform::Clock> clock, const Platform::TimerWheel::Parameters& parameters);

  // --- Scratch records ---------------------------------------------------------------------------
  MrpParseContext* parseContext() const { return parseContext_.get(); }
  MrpCounters* mrpCounters() const { return mrpCounters_.get(); }
  // Attribute types of the application: 4 for MSRP, 1 for MVRP, 0 for others and in standby.
  std::uint8_t maxAttrTypes() const { return maxAttrTypes_; }
  // Marks the next PDU as injected anew: it is decoded, and nothing of it is acted on.
  bool recycledPkt() const { return recycledPkt_; }
  void recycledPktIs(bool recycled) { recycledPkt_ = recycled; }

  // --- Receive path (rx/) ------------------------------------------------------------------------
  // Each step consumes what it has read from the head of the packet.
  void parseMrpdu(Pkt& pkt);
  MrpParseStatus parseMessage(Pkt& pkt);
  MrpParseStatus parseAttributeList(Pkt& pkt);
  MrpParseStatus parseVectorAttribute(Pkt& pkt);
  MrpParseStatus skipMessageDueToFutureProtocolVersion(Pkt& pkt);
  MrpParseStatus parseMsrpVector(Pkt& pkt);
  MrpParseStatus parseMvrpVector(Pkt& pkt);
  template <class Value>
  MrpParseStatus parseThreePackedEvents(Pkt& pkt, Value& value);
  MrpParseStatus parseThreeFourPackedEvents(Pkt& pkt);
  void processThreeAndFourPacked(const Pkt& pkt, std::uint8_t event, std::uint32_t index,
                                 std::size_t fourPackedOffset);
  template <class Value>
  void processMrpEvent(Value& value, std::uint8_t event, std::uint32_t index);
  void saveParsedMrpAttribute();
  void mrpRxLeaveAllIs(std::uint8_t type, bool received) { mrpRxLeaveAll_[type] = received; }
  const std::map<std::uint8_t, bool>& mrpRxLeaveAll() const { return mrpRxLeaveAll_; }
  MrpParsedAttributes& mrpParsedAttribute() { return mrpParsedAttribute_; }

  // Acts on what a PDU has staged: LeaveAlls, a transmission, domains, all else.
  void processParsedAttributes(IntfId intf);
  void processParsedAttribute(const MrpParsedAttribute& parsed, IntfId intf);
  // Whether the neighbour may not hold this attribute too, see MrpConfig::attributeLimit. A refusal
  // is counted, and logged once in an interval.
  bool refuses(MrpIntfTypeApplicant& types, std::uint64_t key) {
    const std::uint32_t limit =
        mrpConfig_->attributeLimit(mrpLib_->application(), types.attributeType());
    return limit > 0 && types.heldByPeer() >= limit && refusesBeyondLimit(types, key, limit);
  }
  // Whether the receive record of the current type equals a stored value.
  bool mrpRxVectorSameAs(const MrpAttrDatabase& record);
  bool mrpRxVectorSameAsDatabaseAttr();
  void mrpProcessRxLeaveAll(IntfId intf, std::uint8_t type);

  // Keys of the values in the receive and transmit records of the current type.
  std::uint64_t mrpGetRxAttributeKey();
  std::uint64_t mrpGetTxAttributeKey();
  std::uint64_t msrpGetRxAttributeKey() const;
  std::uint64_t msrpGetTxAttributeKey() const;
  std::uint64_t mvrpGetRxAttributeKey() const;
  std::uint64_t mvrpGetTxAttributeKey() const;

  // --- Attribute database (db/) ------------------------------------------------------------------
  // Null when there is no such record. One that is about to be deleted is not found; one that waits
  // to be added only with `includePending`.
  MrpAttrDatabase* mrpGetAttrFromDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                          bool includePending) {
    MrpIntfTypeApplicant* types = typeApplicant(intf, type);
    MrpAttrDatabase* record = types ? types->visible(key) : nullptr;
    return record && (includePending || !record->pendingAdd()) ? record : nullptr;
  }
  // Record of the current attribute, made on demand.
  MrpAttrDatabase* mrpGetAttribute(bool create) {
    const MrpParseContext& c = *parseContext_;
    MrpAttrDatabase* record =
        mrpGetAttrFromDatabase(c.intfId(), c.attributeType(), c.attributeKey(), true);
    if (record || !create) return record;
    return mrpAddAttrToDatabase(c.intfId(), c.attributeType(), c.attributeKey(), false);
  }
  MrpAttrDatabase* mrpAddAttrToDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                        bool fromTransmitRecord);
  void mrpDeleteAttrFromDatabase();
  MrpAttrDatabase& addAttrToAddPending(const MrpAttribute& attribute);
  void addAttrToDeletePending(const MrpAttribute& attribute);
  // Commit one pending change.
  void createEntryInDatabase(MrpIntfTypeApplicant& types, MrpAttrDatabase& record);
  void deleteEntryInDatabase(MrpIntfTypeApplicant& types, MrpAttrDatabase& record);
  bool hasPendingAdds() const;
  bool hasPendingDeletes() const;
  void mrpPopulateValueInDatabase(MrpAttrDatabase& record, bool fromTransmitRecord);
  void mrpFillContextFromDatabase(const MrpAttribute& attribute);
  // Makes a record's attribute current, its value in the receive and transmit records.
  void contextIs(IntfId intf, std::uint8_t type, const MrpAttrDatabase& record);
  // Collection of one port and type; null when there is none.
  MrpIntfTypeApplicant* typeApplicant(IntfId intf, std::uint8_t type) const {
    if (lastTypes_.types && lastTypes_.intf == intf && lastTypes_.type == type) {
      return lastTypes_.types;
    }
    lastTypes_ = {intf, type, database_->typeApplicant(intf, type)};
    return lastTypes_.types;
  }
  // The current attribute's record, or the named one's, whatever its state; null when it has none.
  MrpAttrDatabase* anyRecord() const;
  MrpAttrDatabase* anyRecord(const MrpAttribute& attribute) const;

  // The attribute index of one port and type; none when it is empty.
  std::optional<MrpAttrIter> mrpAttrIter(const MrpAttrIter::Key& key) const;
  // Visits its records in key order, see MrpAttrIter::walk.
  template <class Visit>
  void walkAttributes(IntfId intf, std::uint8_t type, Visit visit) const {
    if (auto iter = mrpAttrIter({intf, type})) iter->walk(visit);
  }

  // --- Transmit path (tx/) -----------------------------------------------------------------------
  // Finishes and sends one open packet of a port.
  void mrpTransmitTxPacket(IntfId intf, bool second);
  // First packet before second.
  void mrpTransmitTxAttributes(IntfId intf);
  // The same for every port that has a first packet.
  void mrpTransmitTxAttributes();

  // Leave time of a port.
  Seconds mrpGetLeaveTime(IntfId intf) const;

  // --- Spanning tree -----------------------------------------------------------------------------
  void handleRole(const std::string& stpiName, const std::string& mstiName,
                  const std::string& intfName);
  // Last role seen; none when there was no change yet.
  std::optional<Stp::MstiPortStatus::Role> oldPortRole(IntfId intf) const;

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  using KeyQueue = Platform::SequencedQueue<std::uint32_t>;  // positions in mrpParsedAttribute_

  void handleInitialized();
  void doInitializePamMan();
  void doInitializeCounters();
  void doCreateMachines();
  void dropPendingChanges();
  void fillMrpLibFromSavedValue(const MrpParsedAttribute& parsed, const MrpAttrDatabase* record);
  void processRxLeaveAlls(IntfId intf);
  bool refusesBeyondLimit(MrpIntfTypeApplicant& types, std::uint64_t key, std::uint32_t limit);
  MrpParseStatus malformed();
  MrpParseStatus firstValueCutOff(Pkt& pkt);
  MrpParseStatus unidentifiedAttributeType();
  MrpParseStatus malformedVector(std::size_t packed, std::size_t left);
  void leaveAllOnlyVector();
  Stp::MstiPortStatus::Role portRole(const std::string& stpiName, const std::string& mstiName,
                                     const std::string& intfName) const;
  void postToAllTypes(IntfId intf, MrpApplicantEvent applicantEvent,
                      MrpRegistrarEvent registrarEvent);
  Platform::EthAddr sourceAddr(IntfId intf) const;
  friend class MrpIntfPamSm;
  Platform::Described describeCounters() const;
  Platform::Described describeParseContext() const;
  Platform::Described describePamSm() const;

  Ptr<Platform::BridgingConfig> brConfig_;
  MrpLib* mrpLib_;
  Ptr<MrpConfig> mrpConfig_;
  Ptr<MrpStatus> mrpStatus_;
  Ptr<Stp::StpStatus> stpStatus_;
  Ptr<Platform::BridgingTopologyConfig> brTopoConfig_;
  Ptr<Platform::EthPhyIntfStatusDir> ethPhyIntfStatusDir_;
  Ptr<Platform::EntityManager> entityManager_;
  Platform::Trace* trace_;
  Platform::EventLog* eventLog_;
  Platform::PktManager* pktManager_;
  MrpApplicationDatabase* database_ = nullptr;
  // The collection looked up last; collections stay for as long as the status does.
  struct LastTypes {
    IntfId intf;
    std::uint8_t type = 0;
    MrpIntfTypeApplicant* types = nullptr;
  };
  mutable LastTypes lastTypes_;
  bool standbyMode_;
  std::uint8_t protocolVersion_ = 0;

  Ptr<Platform::IntfStatusDir> allIntfStatusDir_;
  Ptr<Platform::IntfStatusDir> allIntfStatusLocalDir_;
  Ptr<Platform::DeviceIntfStatusDir> deviceIntfStatusDir_;
  Ptr<Platform::IntfStatusManagerRoot> intfStatusManagerRoot_;
  Ptr<Platform::DesiredIntfDir> desiredIntfDir_;
  Ptr<Platform::PamCollection> pamCollection_;
  Ptr<Platform::EthDevPamManager> pamMan_;
  Ptr<MrpPamSm> mrpPamSm_;

  Platform::IntfMap<Stp::MstiPortStatus::Role> oldPortRole_;
  std::unique_ptr<StpStatusSm> stpStatusSm_;

  Ptr<MrpApplicantSm> applicantSm_;
  Ptr<MrpRegistrarSm> registrarSm_;
  Ptr<MrpLeaveAllSm> leaveAllSm_;
  Ptr<MrpAttrLogSm> mrpAttrLogSm_;
  Ptr<MrpDatabaseDeleteSm> mrpDatabaseDeleteSm_;
  Ptr<MrpDatabaseAddSm> mrpDatabaseAddSm_;
  Ptr<Platform::TimerWheel> timerWheel_;

  Ptr<MrpParseContext> parseContext_;
  Ptr<MrpCounters> mrpCounters_;
  std::uint8_t maxAttrTypes_ = 0;
  bool recycledPkt_ = false;

  [[no_unique_address]] PlaceHolder bug466865Padding1_;
  KeyQueue mrpParsedAttributeKey_;
  MrpParsedAttributes mrpParsedAttribute_;
  struct PlaceHolder2 {};
  [[no_unique_address]] PlaceHolder2 bug466865Padding2_;
  KeyQueue msrpParsedDomainKey_;
  std::map<std::uint8_t, bool> mrpRxLeaveAll_;
  RefusedEvents refusedEvents_;

  Inputs inputs_;
  Platform::Signal<IntfId> onFrame_;
  int framesInProgress_ = 0;
  MrpObserver* observer_ = nullptr;
  bool initialized_ = false;
  bool active_ = false;
};

// Creates an engine and switches its notifications on. MrpLib::application must be set.
MRP_API Ptr<MrpSm> mrpSmFactory(Ptr<Platform::BridgingConfig> brConfig, MrpLib* mrpLib,
                                Ptr<MrpConfig> mrpConfig, Ptr<MrpStatus> mrpStatus,
                                Ptr<Stp::StpStatus> stpStatus,
                                Ptr<Platform::BridgingTopologyConfig> brTopoConfig,
                                Ptr<Platform::EthPhyIntfStatusDir> ethPhyIntfStatusDir,
                                Ptr<Platform::EntityManager> entityManager, bool standbyMode);

}  // namespace Mrp

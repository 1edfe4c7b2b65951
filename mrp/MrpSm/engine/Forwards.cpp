// The engine's operations under their names: each a way into the room that does it.

#include "mrp/MrpSm/engine/MrpSm.h"
#include "mrp/MrpSm/engine/Rooms.h"
#include "platform/Assert.h"

namespace Mrp {
namespace {

// For what needs the machines.
EngineRooms& activeRooms(const MrpSm& engine) {
  MRP_ASSERT_TEXT(engine.active(), "initialized() && !standbyMode()");
  return engine.rooms();
}
Receiver& receiverOf(const MrpSm& engine) { return *activeRooms(engine).receiver; }

}  // namespace

// --- Inputs and services -------------------------------------------------------------------------

const Platform::BridgingConfig& MrpSm::brConfig() const { return *inputs().brConfig; }
MrpLib* MrpSm::mrpLib() const { return inputs().mrpLib; }
const Ptr<MrpConfig>& MrpSm::mrpConfig() const { return inputs().mrpConfig; }
const Ptr<MrpStatus>& MrpSm::mrpStatus() const { return inputs().mrpStatus; }
const Ptr<Stp::StpStatus>& MrpSm::stpStatus() const { return inputs().stpStatus; }
const Ptr<Platform::BridgingTopologyConfig>& MrpSm::brTopoConfig() const {
  return inputs().brTopoConfig;
}
const Ptr<Platform::EthPhyIntfStatusDir>& MrpSm::ethPhyIntfStatusDir() const {
  return inputs().ethPhyIntfStatusDir;
}
Platform::Trace& MrpSm::trace() const { return rooms_->env.trace; }
Platform::EventLog& MrpSm::eventLog() const { return rooms_->env.eventLog; }
MrpApplicationDatabase* MrpSm::applicationDatabase() const { return &rooms_->env.database; }
std::uint8_t MrpSm::protocolVersion() const { return rooms_->protocolVersion; }
void MrpSm::protocolVersionIs(std::uint8_t version) { rooms_->protocolVersion = version; }

bool MrpSm::initialized() const { return rooms_->initialized; }

#define MRP_ATTACHMENT(type, name, member)                                  \
  Platform::type* MrpSm::name() const {                                     \
    return rooms_->endpoints ? rooms_->endpoints->member().get() : nullptr; \
  }
MRP_ATTACHMENT(DesiredIntfDir, desiredIntfDir, desired)
MRP_ATTACHMENT(PamCollection, pamCollection, pams)
MRP_ATTACHMENT(IntfStatusDir, allIntfStatusDir, allIntfStatus)
MRP_ATTACHMENT(IntfStatusDir, allIntfStatusLocalDir, allIntfStatusLocal)
MRP_ATTACHMENT(DeviceIntfStatusDir, deviceIntfStatusDir, devices)
MRP_ATTACHMENT(IntfStatusManagerRoot, intfStatusManagerRoot, statusRoot)
MRP_ATTACHMENT(EthDevPamManager, pamMan, pamManager)
#undef MRP_ATTACHMENT

// --- Machines and scratch records ----------------------------------------------------------------

MrpPamSm* MrpSm::mrpPamSm() const { return rooms_->mrpPamSm.get(); }
MrpApplicantSm* MrpSm::applicantSm() const { return rooms_->applicantSm.get(); }
MrpRegistrarSm* MrpSm::registrarSm() const { return rooms_->registrarSm.get(); }
MrpLeaveAllSm* MrpSm::leaveAllSm() const { return rooms_->leaveAllSm.get(); }
MrpAttrLogSm* MrpSm::mrpAttrLogSm() const { return rooms_->attrLogSm.get(); }
MrpDatabaseAddSm* MrpSm::mrpDatabaseAddSm() const { return rooms_->databaseAddSm.get(); }
MrpDatabaseDeleteSm* MrpSm::mrpDatabaseDeleteSm() const { return rooms_->databaseDeleteSm.get(); }
Platform::TimerWheel* MrpSm::timerWheel() const { return rooms_->timerWheel.get(); }
MrpParseContext* MrpSm::parseContext() const { return rooms_->context.get(); }
MrpCounters* MrpSm::mrpCounters() const { return rooms_->counters.get(); }

std::uint8_t MrpSm::maxAttrTypes() const {
  return active() ? static_cast<std::uint8_t>(rooms_->env.info.types.size()) : std::uint8_t{0};
}

bool MrpSm::recycledPkt() const { return active() && receiverOf(*this).recycled(); }
void MrpSm::recycledPktIs(bool recycled) {
  if (active()) receiverOf(*this).recycledIs(recycled);
}

// --- Receive path --------------------------------------------------------------------------------

void MrpSm::parseMrpdu(Pkt& pkt) { receiverOf(*this).parseMrpdu(pkt); }
MrpParseStatus MrpSm::parseMessage(Pkt& pkt) { return receiverOf(*this).parseMessage(pkt); }
MrpParseStatus MrpSm::parseAttributeList(Pkt& pkt) {
  return receiverOf(*this).parseAttributeList(pkt);
}
MrpParseStatus MrpSm::parseVectorAttribute(Pkt& pkt) {
  return receiverOf(*this).parseVectorAttribute(pkt);
}
MrpParseStatus MrpSm::skipMessageDueToFutureProtocolVersion(Pkt& pkt) {
  return receiverOf(*this).skipMessageDueToFutureProtocolVersion(pkt);
}
MrpParseStatus MrpSm::parseMsrpVector(Pkt& pkt) { return receiverOf(*this).parseVector(pkt); }
MrpParseStatus MrpSm::parseMvrpVector(Pkt& pkt) { return receiverOf(*this).parseVector(pkt); }

MrpParsedAttributes& MrpSm::mrpParsedAttribute() { return receiverOf(*this).staged(); }
bool MrpSm::mrpRxLeaveAll(std::uint8_t type) const {
  return receiverOf(*this).rxLeaveAll().contains(type);
}
void MrpSm::mrpRxLeaveAllIs(std::uint8_t type, bool received) {
  receiverOf(*this).rxLeaveAllIs(type, received);
}
void MrpSm::processParsedAttributes(IntfId intf) {
  receiverOf(*this).processParsedAttributes(intf);
}
void MrpSm::processParsedAttribute(const MrpParsedAttribute& parsed, IntfId intf) {
  receiverOf(*this).processParsedAttribute(parsed, intf);
}
void MrpSm::mrpProcessRxLeaveAll(IntfId intf, std::uint8_t type) {
  receiverOf(*this).processRxLeaveAll(intf, type);
}

bool MrpSm::mrpRxVectorSameAsDatabaseAttr() {
  const EngineRooms& rooms = activeRooms(*this);
  const MrpAttrDatabase* record = rooms.records.find(rooms.env.current()).record;
  const auto image = rooms.env.values.rxImage(rooms.env.context->attributeType());
  return record && !image.empty() && record->valueEquals(image);
}

std::uint64_t MrpSm::mrpGetRxAttributeKey() const {
  const Environment& env = activeRooms(*this).env;
  return env.values.rxKey(env.context->attributeType());
}
std::uint64_t MrpSm::mrpGetTxAttributeKey() const {
  const Environment& env = activeRooms(*this).env;
  return env.values.txKey(env.context->attributeType());
}

// --- Attribute database --------------------------------------------------------------------------

MrpAttrDatabase* MrpSm::mrpGetAttrFromDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                               bool includePending) const {
  MrpAttrDatabase* record = rooms_->records.find({intf, type, key}).record;
  return record && (includePending || !record->pendingAdd()) ? record : nullptr;
}

MrpAttrDatabase* MrpSm::mrpGetAttribute(bool create) {
  EngineRooms& rooms = activeRooms(*this);
  const MrpAttribute current = rooms.env.current();
  const Subject subject = rooms.records.find(current);
  if (subject || !create) return subject.record;
  return rooms.records.add(current, rooms.env.values.rxImage(current.attributeType)).record;
}

MrpAttrDatabase* MrpSm::mrpAddAttrToDatabase(IntfId intf, std::uint8_t type, std::uint64_t key,
                                             bool fromTransmitRecord) {
  EngineRooms& rooms = activeRooms(*this);
  ValueRecords& values = rooms.env.values;
  const auto value = fromTransmitRecord ? values.txImage(type) : values.rxImage(type);
  return rooms.records.add({intf, type, key}, value).record;
}

void MrpSm::mrpDeleteAttrFromDatabase() {
  EngineRooms& rooms = activeRooms(*this);
  rooms.records.deletePending(rooms.env.current());
}
MrpAttrDatabase* MrpSm::addAttrToAddPending(const MrpAttribute& attribute) {
  return activeRooms(*this).records.addPending(attribute);
}
void MrpSm::addAttrToDeletePending(const MrpAttribute& attribute) {
  activeRooms(*this).records.deletePending(attribute);
}

void MrpSm::mrpPopulateValueInDatabase(MrpAttrDatabase& record, bool fromTransmitRecord) {
  const Environment& env = activeRooms(*this).env;
  const std::uint8_t type = env.context->attributeType();
  record.valueIs(fromTransmitRecord ? env.values.txImage(type) : env.values.rxImage(type));
}

void MrpSm::mrpFillContextFromDatabase(const MrpAttribute& attribute) {
  const EngineRooms& rooms = activeRooms(*this);
  const auto& [intf, type, key] = attribute;
  rooms.env.contextIs(intf, type, key);
  if (const Subject subject = rooms.records.find(attribute)) rooms.records.currentIs(subject);
}

std::optional<MrpAttrIter> MrpSm::mrpAttrIter(const MrpAttrIter::Key& key) const {
  return rooms_->records.index(key);
}

// --- Transmit path -------------------------------------------------------------------------------

void MrpSm::mrpTransmitTxPacket(IntfId intf, bool second) {
  activeRooms(*this).transmitter->transmit(intf, second);
}
void MrpSm::mrpTransmitTxAttributes(IntfId intf) { activeRooms(*this).transmitter->flush(intf); }
void MrpSm::mrpTransmitTxAttributes() { activeRooms(*this).transmitter->flush(); }
Seconds MrpSm::mrpGetLeaveTime(IntfId intf) const { return leaveTimeOf(*inputs().mrpConfig, intf); }

// --- Spanning tree -------------------------------------------------------------------------------

void MrpSm::handleRole(const std::string& stpiName, const std::string& mstiName,
                       const std::string& intfName) {
  rooms_->stpRoles.handleRole(stpiName, mstiName, intfName);
}
std::optional<MrpSm::Role> MrpSm::oldPortRole(IntfId intf) const {
  return rooms_->stpRoles.oldPortRole(intf);
}

}  // namespace Mrp

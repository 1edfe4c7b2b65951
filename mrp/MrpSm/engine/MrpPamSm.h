#pragma once

#include "mrp/types/MrpEnums.h"
#include "mrp/types/PlatformNames.h"
#include "platform/packet/PamDirs.h"

namespace Mrp {

class MrpLeaveAllSm;
class MrpLib;
class MrpPamSm;
class Receiver;
struct Environment;

// What the machines of endpoints set in motion. The machines are null in standby.
struct PortWork {
  const Environment& env;
  const MrpLib& lib;
  Receiver* receiver = nullptr;
  MrpLeaveAllSm* leaveAll = nullptr;
};

// Machine of one open packet endpoint: receives its frames and carries the port's LeaveAll
// handling. Lives exactly as long as the endpoint is in the collection.
class MRP_API MrpIntfPamSm : public Platform::Entity {
 public:
  MrpIntfPamSm(IntfId intfId, Ptr<Platform::Pam> pam, bool standbyMode, MrpPamSm& mrpPamSm);
  ~MrpIntfPamSm() override;

  IntfId intfId() const { return intfId_; }
  Platform::Pam& pam() const { return *pam_; }
  bool standbyMode() const { return standbyMode_; }
  void standbyModeIs(bool standbyMode) { standbyMode_ = standbyMode; }

  // Reads one frame from the endpoint and processes it to completion. In standby the frame is
  // dropped.
  void handleMrpdu();
  void handleStandbyMode();
  // Frames that arrived while notifications were off are read when they come on again.
  void hasNotificationActiveIs(bool active) override;
  // Ends the port's LeaveAll handling, once: when the endpoint leaves the collection. A frame in
  // progress may keep the machine until after the port has been opened again.
  void doClose();

  // Sends a LeaveAll of every type now and restarts the running periods. Not in standby.
  void transmitAllLeaveAll();

 private:
  void handleInitialized();
  void handleRxPkt();

  IntfId intfId_;
  Ptr<Platform::Pam> pam_;
  bool standbyMode_;
  MrpPamSm& mrpPamSm_;
  bool initialized_ = false;
  bool closed_ = false;
  Platform::Reactor<> rxReactor_;
};

// Keeps one MrpIntfPamSm for every endpoint in the collection.
class MRP_API MrpPamSm : public Platform::Entity {
 public:
  static constexpr std::string_view typeName = "Mrp::MrpPamSm";
  // `work` outlives the machine.
  MrpPamSm(Ptr<Platform::PamCollection> pamCollection, bool standbyMode, const PortWork& work);
  ~MrpPamSm() override;

  const PortWork& work() const { return work_; }
  MrpIntfPamSm* mrpIntfPamSm(IntfId intf) const {
    const Ptr<MrpIntfPamSm>* sm = mrpIntfPamSm_.find(intf);
    return sm ? sm->get() : nullptr;
  }
  bool mrpIntfPamSmHas(IntfId intf) const { return mrpIntfPamSm(intf) != nullptr; }

  bool standbyMode() const { return standbyMode_; }
  void standbyModeIs(bool standbyMode) { standbyMode_ = standbyMode; }
  // Hands the standby flag on to every port.
  void handleStandbyMode();
  void hasNotificationActiveIs(bool active) override;
  // An endpoint has appeared in the collection or left it.
  void handlePam(IntfId intf);

  // Sends a frame unchanged on every port but `received`.
  void floodMsrpdu(IntfId received, Ptr<Pkt> pkt);
  void transmitAllLeaveAll(IntfId intf);

  Platform::Described describe() const override { return Platform::described(*this); }
  static std::span<const Platform::AttributeInfo> attributeTable();

 private:
  void handleInitialized();

  Ptr<Platform::PamCollection> pamCollection_;
  bool standbyMode_;
  const PortWork& work_;
  Platform::IntfMap<Ptr<MrpIntfPamSm>> mrpIntfPamSm_;
  bool initialized_ = false;
  Platform::Reactor<IntfId> pamReactor_;
};

}  // namespace Mrp

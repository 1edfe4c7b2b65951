#include "mrp/MrpSm/engine/MrpPamSm.h"

#include <array>
#include <utility>

#include "mrp/MrpSm/MrpLib.h"
#include "mrp/MrpSm/env/Environment.h"
#include "mrp/MrpSm/rx/Receiver.h"
#include "mrp/MrpSm/sm/MrpLeaveAllSm.h"
#include "platform/Assert.h"
#include "platform/packet/EthFrame.h"

namespace Mrp {

MrpIntfPamSm::MrpIntfPamSm(IntfId intfId, Ptr<Platform::Pam> pam, bool standbyMode,
                           MrpPamSm& mrpPamSm)
    : intfId_(intfId), pam_(std::move(pam)), standbyMode_(standbyMode), mrpPamSm_(mrpPamSm) {
  rxReactor_.watch<&MrpIntfPamSm::handleRxPkt>(pam_->onRxPkt(), this);
  handleInitialized();
}

MrpIntfPamSm::~MrpIntfPamSm() {
  if (!closed_) doClose();
}

void MrpIntfPamSm::handleInitialized() {
  initialized_ = true;
  handleStandbyMode();
}

// While the engine is being activated there is no LeaveAll machine yet; the end of activation runs
// this again.
void MrpIntfPamSm::handleStandbyMode() {
  const PortWork& work = mrpPamSm_.work();
  MRP_TRACE(work.env.trace, 8, "MrpIntfPamSm::handleStandbyMode()");
  MRP_ASSERT_TEXT(initialized_, "initialized()");
  if (standbyMode_ || !work.leaveAll) return;
  work.leaveAll->mrpEnableLeaveAllPending(intfId_);
}

void MrpIntfPamSm::doClose() {
  const PortWork& work = mrpPamSm_.work();
  MRP_TRACE(work.env.trace, 8, "MrpIntfPamSm::doClose( " << intfId_);
  MRP_ASSERT_TEXT(initialized_, "initialized()");
  closed_ = true;
  if (standbyMode_ || !work.leaveAll) return;
  work.leaveAll->mrpDisableLeaveAllPending(intfId_);
}

void MrpIntfPamSm::handleMrpdu() {
  MRP_ASSERT_TEXT(initialized_, "initialized()");
  const PortWork& work = mrpPamSm_.work();
  const Ptr<Pkt> pkt = pam_->rxPkt();
  if (!pkt) return;
  if (work.receiver) {
    work.receiver->receive(intfId_, *pkt,
                           {work.lib.applicationMacAddr(), work.lib.applicationEtype()});
  } else {
    work.env.discarded(MrpObserver::Reason::standby, {intfId_, 0, 0});
  }
}

void MrpIntfPamSm::transmitAllLeaveAll() {
  const PortWork& work = mrpPamSm_.work();
  MRP_TRACE(work.env.trace, 8, "MrpIntfPamSm::transmitAllLeaveAll( " << intfId_);
  MRP_ASSERT_TEXT(initialized_ && !standbyMode_, "initialized() && !standbyMode()");
  work.leaveAll->transmitAllLeaveAll(intfId_);
}

void MrpIntfPamSm::handleRxPkt() {
  if (!hasNotificationActive()) return;
  const Ptr<MrpIntfPamSm> keep(this);
  handleMrpdu();
}

void MrpIntfPamSm::hasNotificationActiveIs(bool active) {
  const bool resumed = active && !hasNotificationActive();
  Entity::hasNotificationActiveIs(active);
  if (!resumed) return;
  const Ptr<MrpIntfPamSm> keep(this);
  while (!closed_ && pam_->rxPktWaiting()) handleMrpdu();
}

MrpPamSm::MrpPamSm(Ptr<Platform::PamCollection> pamCollection, bool standbyMode,
                   const PortWork& work)
    : pamCollection_(std::move(pamCollection)), standbyMode_(standbyMode), work_(work) {
  pamReactor_.watch<&MrpPamSm::handlePam>(pamCollection_->onPam(), this);
  handleInitialized();
}

MrpPamSm::~MrpPamSm() { mrpIntfPamSm_.delAll(); }

void MrpPamSm::handleInitialized() {
  initialized_ = true;
  pamCollection_->pams().walk([this](IntfId intf, Ptr<Platform::Pam>&) { handlePam(intf); });
}

void MrpPamSm::handlePam(IntfId intf) {
  MRP_ASSERT_TEXT(initialized_, "initialized()");
  MRP_TRACE(work_.env.trace, 8, "MrpPamSm::handlePam( " << intf);
  if (Platform::Pam* pam = pamCollection_->pam(intf)) {
    MRP_ASSERT_TEXT(!mrpIntfPamSmHas(intf), "!mrpIntfPamSmHas( intfId )");
    auto sm = Platform::makePtr<MrpIntfPamSm>(intf, Ptr<Platform::Pam>(pam), standbyMode_, *this);
    mrpIntfPamSm_.is(intf) = sm;
    sm->hasNotificationActiveIs(hasNotificationActive());
  } else {
    MRP_ASSERT_TEXT(mrpIntfPamSmHas(intf), "mrpIntfPamSmHas( intfId )");
    const Ptr<MrpIntfPamSm> gone(mrpIntfPamSm(intf));
    mrpIntfPamSm_.del(intf);
    if (work_.receiver) work_.receiver->portClosed(intf);
    gone->doClose();
  }
}

void MrpPamSm::handleStandbyMode() {
  mrpIntfPamSm_.walk([this](IntfId, Ptr<MrpIntfPamSm>& sm) {
    sm->standbyModeIs(standbyMode_);
    sm->handleStandbyMode();
  });
}

void MrpPamSm::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  mrpIntfPamSm_.walk([active](IntfId, const Ptr<MrpIntfPamSm>& sm) {
    const Ptr<MrpIntfPamSm> keep(sm);
    keep->hasNotificationActiveIs(active);
  });
}

void MrpPamSm::transmitAllLeaveAll(IntfId intf) {
  MRP_TRACE(work_.env.trace, 8, "MrpPamSm::transmitAllLeaveAll( " << intf);
  MRP_ASSERT_TEXT(initialized_ && !standbyMode_, "initialized() && !standbyMode()");
  if (MrpIntfPamSm* port = mrpIntfPamSm(intf)) port->transmitAllLeaveAll();
}

void MrpPamSm::floodMsrpdu(IntfId received, Ptr<Pkt> pkt) {
  MRP_ASSERT_TEXT(initialized_, "initialized()");
  MRP_TRACE(work_.env.trace, 8, "MrpPamSm::floodMsrpdu( " << received);
  const auto octets = std::as_const(*pkt).octets();
  const EthAddr source = Platform::EthFrame::sourceOf(octets);
  mrpIntfPamSm_.walk([&](IntfId intf, Ptr<MrpIntfPamSm>& sm) {
    if (intf == received) return;
    MRP_TRACE(work_.env.trace, 8, "Msrp Tx on " << intf);
    work_.env.observe(&MrpObserver::frame, {MrpObserver::Direction::sent, intf, source, octets});
    sm->pam().txPktIs(pkt);
  });
}

std::span<const Platform::AttributeInfo> MrpPamSm::attributeTable() {
  using A = MrpPamSm;
  static constexpr std::array table{
      Platform::readOnlyAttribute<A, &A::standbyMode>("standbyMode"),
      Platform::operation<A, &A::transmitAllLeaveAll>("transmitAllLeaveAll"),
  };
  return table;
}

}  // namespace Mrp

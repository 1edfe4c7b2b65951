#include "mrp/MrpSm/db/MrpAttrLogSm.h"

#include "mrp/MrpSm/env/Environment.h"

namespace Mrp {

MrpAttrLogSm::MrpAttrLogSm(const Environment& env, Platform::Ptr<Platform::AttrLogOutput> output)
    : env_(env), nboAttrLogOutSm_(std::move(output)) {
  if (nboAttrLogOutSm_) {
    sockFdReactor_.watch<&MrpAttrLogSm::handleSockFd>(nboAttrLogOutSm_->onSockFd(), this);
    attrLogSockFdIs(nboAttrLogOutSm_->sockFd());
  }
  initialized_ = true;
}

void MrpAttrLogSm::handleSockFd() {
  if (hasNotificationActive()) attrLogSockFdIs(nboAttrLogOutSm_->sockFd());
}

void MrpAttrLogSm::hasNotificationActiveIs(bool active) {
  Entity::hasNotificationActiveIs(active);
  if (nboAttrLogOutSm_) handleSockFd();
}

void MrpAttrLogSm::attrLogSockFdIs(std::int32_t fd) {
  if (fd == attrLogSockFd_) return;
  attrLogSockFd_ = fd;
  handleAttrLogSockFd();
}

void MrpAttrLogSm::handleAttrLogSockFd() {
  if (attrLogSockFd_ == -1 || !nboAttrLogOutSm_) return;
  const auto size = nboAttrLogOutSm_->sendBufferSize(attrLogSockFd_);
  attrLogKernTxBufferThreshold_ = size ? *size / 2 : -1;
  attrLogKernTxBufferSize_ = size.value_or(-1);
  MRP_TRACE(env_.trace, 8,
            "handleAttrLogSockFd"
                << "(), Socket Fd:" << attrLogSockFd_
                << ", Kernel Tx Buffer Size:" << attrLogKernTxBufferSize_
                << ", Kernel Tx Buffer Threshold:" << attrLogKernTxBufferThreshold_);
}

std::int32_t MrpAttrLogSm::getAttrLogKernTxBufferUsage() const {
  if (attrLogSockFd_ == -1) return -1;
  const auto octets = nboAttrLogOutSm_->sendQueueOctets(attrLogSockFd_);
  if (!octets) MRP_TRACE(env_.trace, 4, "cannot read the send queue of " << attrLogSockFd_);
  return octets.value_or(-1);
}

bool MrpAttrLogSm::isAttrLogOutClogged() {
  if (!nboAttrLogOutSm_) return false;
  attrLogKernTxBufferUsage_ = getAttrLogKernTxBufferUsage();
  if (attrLogKernTxBufferThreshold_ >= attrLogKernTxBufferUsage_) return false;
  MRP_TRACE(env_.trace, 6,
            "Tx Buffer usage: " << attrLogKernTxBufferUsage_
                                << " is above threshold: " << attrLogKernTxBufferThreshold_);
  return true;
}

}  // namespace Mrp

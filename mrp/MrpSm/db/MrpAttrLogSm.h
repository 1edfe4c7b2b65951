#pragma once

#include <cstdint>

#include "platform/state/EntityManager.h"

namespace Mrp {

struct Environment;

// Watches how full the send queue of the state database's attribute log is, so that reviews hold
// back while its reader lags behind. Sizes are in octets; -1 means unknown.
class MRP_API MrpAttrLogSm : public Platform::Entity {
 public:
  // `output` may be null: there is no attribute log, and it is never clogged.
  MrpAttrLogSm(const Environment& env, Platform::Ptr<Platform::AttrLogOutput> output);

  // Takes up the descriptor of the moment when notifications come on again.
  void hasNotificationActiveIs(bool active) override;

  void attrLogSockFdIs(std::int32_t fd);
  std::int32_t attrLogSockFd() const { return attrLogSockFd_; }
  std::int32_t attrLogKernTxBufferSize() const { return attrLogKernTxBufferSize_; }
  // Half the send buffer.
  std::int32_t attrLogKernTxBufferThreshold() const { return attrLogKernTxBufferThreshold_; }
  // As the last check found it.
  std::int32_t attrLogKernTxBufferUsage() const { return attrLogKernTxBufferUsage_; }

  // True when more than the threshold waits. The comparison is signed: without a socket (usage -1)
  // the log is never clogged; with a buffer of unknown size (threshold -1) any usage clogs it.
  bool isAttrLogOutClogged();

 private:
  void handleSockFd();
  void handleAttrLogSockFd();
  std::int32_t getAttrLogKernTxBufferUsage() const;

  const Environment& env_;
  Platform::Ptr<Platform::AttrLogOutput> nboAttrLogOutSm_;
  std::int32_t attrLogSockFd_ = -1;
  std::int32_t attrLogKernTxBufferSize_ = -1;
  std::int32_t attrLogKernTxBufferThreshold_ = -1;
  std::int32_t attrLogKernTxBufferUsage_ = -1;
  bool initialized_ = false;
  Platform::Reactor<> sockFdReactor_;
};

}  // namespace Mrp

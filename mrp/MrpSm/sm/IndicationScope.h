#pragma once

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {

// Keeps the engine's scratch state over an indication: the application may call the service from
// inside it and must leave the current attribute, the pending events and the receive records as
// they were.
class IndicationScope {
 public:
  explicit IndicationScope(MrpSm& mrpSm);
  ~IndicationScope();
  IndicationScope(const IndicationScope&) = delete;
  IndicationScope& operator=(const IndicationScope&) = delete;

  // The current attribute and the event received with it.
  MrpParameters parameters() const;

 private:
  MrpSm& mrpSm_;
  IntfId intfId_;
  std::uint8_t attributeType_;
  std::uint8_t attributeEvent_;
  std::uint64_t attributeKey_;
  MrpApplicantEvent applicantEvent_;
  MrpRegistrarEvent registrarEvent_;
  MsrpTalkerAdvertiseAttribute talkerAdvertise_;
  MsrpTalkerFailedAttribute talkerFailed_;
  MsrpListenerAttribute listener_;
  MsrpDomainAttribute domain_;
  MvrpVlanAttribute vlan_;
};

}  // namespace Mrp

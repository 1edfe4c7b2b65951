#include "mrp/MrpSm/sm/IndicationScope.h"

namespace Mrp {

IndicationScope::IndicationScope(MrpSm& mrpSm)
    : mrpSm_(mrpSm),
      intfId_(mrpSm.parseContext()->intfId()),
      attributeType_(mrpSm.parseContext()->attributeType()),
      attributeEvent_(mrpSm.parseContext()->attributeEvent()),
      attributeKey_(mrpSm.parseContext()->attributeKey()),
      applicantEvent_(mrpSm.applicantSm()->applicantEvent()),
      registrarEvent_(mrpSm.registrarSm()->registrarEvent()),
      talkerAdvertise_(mrpSm.mrpLib()->msrpTalkerAdvertiseRx()),
      talkerFailed_(mrpSm.mrpLib()->msrpTalkerFailedRx()),
      listener_(mrpSm.mrpLib()->msrpListenerVectorRx()),
      domain_(mrpSm.mrpLib()->msrpDomainVectorRx()),
      vlan_(mrpSm.mrpLib()->mvrpVlanVectorRx()) {}

IndicationScope::~IndicationScope() {
  MrpParseContext& context = *mrpSm_.parseContext();
  context.intfIdIs(intfId_);
  context.attributeTypeIs(attributeType_);
  context.attributeEventIs(attributeEvent_);
  context.attributeKeyIs(attributeKey_);
  mrpSm_.applicantSm()->applicantEventIs(applicantEvent_);
  mrpSm_.registrarSm()->registrarEventIs(registrarEvent_);
  MrpLib& lib = *mrpSm_.mrpLib();
  lib.msrpTalkerAdvertiseRxIs(talkerAdvertise_);
  lib.msrpTalkerFailedRxIs(talkerFailed_);
  lib.msrpListenerVectorRxIs(listener_);
  lib.msrpDomainVectorRxIs(domain_);
  lib.mvrpVlanVectorRxIs(vlan_);
}

MrpParameters IndicationScope::parameters() const {
  MrpParameters parameters;
  parameters.intfId = intfId_;
  parameters.attributeType = attributeType_;
  parameters.attributeEvent = attributeEvent_;
  return parameters;
}

}  // namespace Mrp

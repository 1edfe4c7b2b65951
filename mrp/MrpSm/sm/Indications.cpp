#include "mrp/MrpSm/sm/Indications.h"

#include "mrp/MrpSm/env/ApplicationScope.h"

namespace Mrp {

using Keeps = ApplicationScope::Keeps;

bool Indications::join(const MrpAttribute& attribute) {
  env_.contextIs(attribute.intfId, attribute.attributeType, attribute.attributeKey);
  const ApplicationScope scope(env_, Keeps::receiveRecords);
  const bool discarded = lib_.mrpJoinIndication(scope.parameters());
  env_.counters->numOfJoinIndicationsInc();
  return discarded;
}

void Indications::leave(const MrpAttribute& attribute) {
  env_.contextIs(attribute.intfId, attribute.attributeType, attribute.attributeKey);
  const ApplicationScope scope(env_, Keeps::receiveRecords);
  lib_.mrpLeaveIndication(scope.parameters());
  env_.counters->numOfLeaveIndicationsInc();
}

}  // namespace Mrp

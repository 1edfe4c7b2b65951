#include "mrp/MrpSm/ValueRecords.h"

#include <type_traits>

namespace Mrp {

void ValueRecords::applicationIs(MrpApplication application) {
  images_ = {};
  for (const AttributeTypeInfo& type : applicationInfo(application).types) {
    with(application, type.type, [&](auto& slots) {
      using Value = typename std::remove_cvref_t<decltype(slots)>::Type;
      static_assert(alignof(Value) == 1 && std::is_trivially_copyable_v<Value>);
      images_[type.type] = {.rx = reinterpret_cast<std::uint8_t*>(&slots.rx),
                            .tx = reinterpret_cast<std::uint8_t*>(&slots.tx),
                            .size = sizeof(Value),
                            .keyOctets = type.keyOctets};
    });
  }
}

void ValueRecords::Saved::restoreRx(ValueRecords& to) const {
  to.talkerAdvertise.rx = saved_.talkerAdvertise.rx;
  to.talkerFailed.rx = saved_.talkerFailed.rx;
  to.listener.rx = saved_.listener.rx;
  to.domain.rx = saved_.domain.rx;
  to.vlan.rx = saved_.vlan.rx;
}

void ValueRecords::Saved::restoreTx(ValueRecords& to) const {
  to.talkerAdvertise.tx = saved_.talkerAdvertise.tx;
  to.talkerFailed.tx = saved_.talkerFailed.tx;
  to.listener.tx = saved_.listener.tx;
  to.domain.tx = saved_.domain.tx;
  to.vlan.tx = saved_.vlan.tx;
}

}  // namespace Mrp

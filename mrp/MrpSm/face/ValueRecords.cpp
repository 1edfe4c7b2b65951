#include "mrp/MrpSm/ValueRecords.h"

#include <type_traits>

namespace Mrp {

void ValueRecords::applicationIs(MrpApplication application) {
  images_ = {};
  for (const AttributeTypeInfo& type : applicationInfo(application).types) {
    with(application, type.type, [&](auto& slots) {
      using Value = typename std::remove_cvref_t<decltype(slots)>::Type;
      static_assert(alignof(Value) == 1 && std::is_trivially_copyable_v<Value>);
      images_[type.type] = {reinterpret_cast<std::uint8_t*>(&slots.rx),
                            reinterpret_cast<std::uint8_t*>(&slots.tx),
                            static_cast<std::uint8_t>(sizeof(Value)), type.keyOctets};
    });
  }
}

void ValueRecords::Saved::restoreRx(ValueRecords& to) const {
  to.talkerAdvertise.rx = talkerAdvertise_.rx;
  to.talkerFailed.rx = talkerFailed_.rx;
  to.listener.rx = listener_.rx;
  to.domain.rx = domain_.rx;
  to.vlan.rx = vlan_.rx;
}

void ValueRecords::Saved::restoreTx(ValueRecords& to) const {
  to.talkerAdvertise.tx = talkerAdvertise_.tx;
  to.talkerFailed.tx = talkerFailed_.tx;
  to.listener.tx = listener_.tx;
  to.domain.tx = domain_.tx;
  to.vlan.tx = vlan_.tx;
}

}  // namespace Mrp

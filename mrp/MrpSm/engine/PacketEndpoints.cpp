// Set-up of the packet endpoints: interface status, socket filter, endpoint manager.

#include <array>
#include <optional>

#include "mrp/MrpSm/engine/MrpSm.h"

namespace Mrp {
namespace {

using Platform::FilterInstruction;
using FilterProgram = std::array<FilterInstruction, 11>;

constexpr std::size_t kMaxRxPktData = 10000;
constexpr std::uint16_t kTpid8021q = 0x8100;

// Accepts frames to the application's address whose EtherType is the application's, directly or
// behind one IEEE 802.1Q tag.
FilterProgram makeFilter(std::uint16_t dmacUpper, std::uint32_t dmacLower, std::uint16_t ethType) {
  using namespace Platform::FilterCode;
  constexpr std::uint32_t kAccept = 65535;
  return {{
      /*  0 */ {kLoadWordAbs, 0, 0, 2},
      /*  1 */ {kJumpEqual, 0, 8, dmacLower},
      /*  2 */ {kLoadHalfAbs, 0, 0, 0},
      /*  3 */ {kJumpEqual, 0, 6, dmacUpper},
      /*  4 */ {kLoadHalfAbs, 0, 0, 12},
      /*  5 */ {kJumpEqual, 3, 0, ethType},
      /*  6 */ {kJumpEqual, 0, 3, kTpid8021q},
      /*  7 */ {kLoadHalfAbs, 0, 0, 16},
      /*  8 */ {kJumpEqual, 0, 1, ethType},
      /*  9 */ {kReturn, 0, 0, kAccept},
      /* 10 */ {kReturn, 0, 0, 0},
  }};
}

// One table for the process: the first engine fills it, later ones use it as it is.
std::optional<FilterProgram>& processFilter() {
  static std::optional<FilterProgram> filter;
  return filter;
}

template <class T>
Ptr<T> entityAs(const Ptr<Platform::Entity>& entity) {
  return Ptr<T>(dynamic_cast<T*>(entity.get()));
}

}  // namespace

void MrpSm::doInitializePamMan() {
  MRP_TRACE(trace(), 8, "void Mrp::MrpSm::doInitializePamMan()");
  const std::uint64_t dmac = mrpLib_->applicationMacAddr().number();
  const auto dmacUpper = static_cast<std::uint16_t>(dmac >> 32);
  const auto dmacLower = static_cast<std::uint32_t>(dmac);
  const std::uint16_t ethType = mrpLib_->applicationEtype();
  MRP_TRACE(trace(), 8,
            "MrpSm::PamManEnable dmacUpper " << std::hex << dmacUpper << " dmacLower " << dmacLower
                                             << " ethType " << ethType);
  auto& filter = processFilter();
  if (!filter) filter = makeFilter(dmacUpper, dmacLower, ethType);

  Platform::EntityManager& manager = *entityManager_;
  allIntfStatusDir_ = entityAs<Platform::IntfStatusDir>(manager.entity("interface/status/all"));
  allIntfStatusLocalDir_ =
      entityAs<Platform::IntfStatusDir>(manager.entity("interface/status/local"));
  const std::string ns = manager.defaultNamespace();
  deviceIntfStatusDir_ = entityAs<Platform::DeviceIntfStatusDir>(manager.shmTableIs(
      "KernelNetInfo::Status", "kni/ns/" + ns + "/status", "deviceIntfStatusDirMsrp"));
  intfStatusManagerRoot_ =
      manager.services().intfStatusManagerRoot(allIntfStatusDir_, allIntfStatusLocalDir_);
  intfStatusManagerRoot_->intfStatusManagerIs(ns);
  desiredIntfDir_ = Platform::makePtr<Platform::DesiredIntfDir>();
  manager.entityIs("desiredIntfDirMsrp", desiredIntfDir_);
  pamCollection_ = Platform::makePtr<Platform::PamCollection>();
  manager.entityIs("pamCollectionMsrp", pamCollection_);

  pamMan_ =
      manager.services().ethDevPamManager(desiredIntfDir_, pamCollection_, deviceIntfStatusDir_);
  pamMan_->ethProtocolIs(Platform::EthDevPamManager::kAllProtocols);
  pamMan_->listenAddrIs(mrpLib_->applicationMacAddr());
  pamMan_->socketFilterIs({filter->begin(), filter->end()});
  pamMan_->maxRxPktDataIs(kMaxRxPktData);
  pamMan_->socketPerIntfIs(true);
  pamMan_->enabledIs(true);
  mrpPamSm_ = Platform::makePtr<MrpPamSm>(pamCollection_, standbyMode_, *this);
  mrpPamSm_->hasNotificationActiveIs(hasNotificationActive());
}

}  // namespace Mrp

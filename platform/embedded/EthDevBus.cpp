#include "platform/embedded/EthDevBus.h"

#include "platform/embedded/EthDevPam.h"

namespace Platform::Embedded {

EthDevBus::EthDevBus(Ptr<Clock> clock)
    : clock_(std::move(clock)), rxPkts_(makePtr<Host::PktAllocator>()) {}

EthDevBus::~EthDevBus() = default;

EthDevPam* EthDevBus::endpoint(IntfId intf) const {
  const auto* open = endpoints_.find(intf);
  return open ? open->front() : nullptr;
}

bool EthDevBus::receive(IntfId intf, std::span<const std::uint8_t> frame, Seconds unread) {
  const auto* open = endpoints_.find(intf);
  if (!open) return false;
  const Ptr<EthDevBus> keep(this);
  // A notification may open and close endpoints.
  const std::vector<Ptr<EthDevPam>> pams(open->begin(), open->end());
  bool taken = false;
  for (const Ptr<EthDevPam>& pam : pams) taken |= pam->receive(frame, unread);
  return taken;
}

void EthDevBus::endpointIs(EthDevPam& pam) { endpoints_.is(pam.intfId()).push_back(&pam); }

void EthDevBus::endpointDel(EthDevPam& pam) {
  auto* open = endpoints_.find(pam.intfId());
  if (!open) return;
  std::erase(*open, &pam);
  if (open->empty()) endpoints_.del(pam.intfId());
}

}  // namespace Platform::Embedded

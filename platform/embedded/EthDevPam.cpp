#include "platform/embedded/EthDevPam.h"

#include <algorithm>

#include "platform/packet/EthFrame.h"

namespace Platform::Embedded {
namespace {

// So that a reader can put a header in front of what it received.
constexpr std::size_t kRxHeadRoom = 64;

}  // namespace

// One notification to come. It dies with its endpoint, so that it keeps nothing alive.
struct EthDevPam::Delayed {
  explicit Delayed(EthDevPam& owner)
      : pam(owner), alarm(owner.bus_->clock(), Alarm::Class::arrival) {
    alarm.bind<&Delayed::handleAlarm>(this);
  }

  void handleAlarm() {
    EthDevPam& endpoint = pam;
    endpoint.delayed_.erase(self);
    endpoint.onRxPkt().notify();
  }

  EthDevPam& pam;
  std::list<Delayed>::iterator self;
  Alarm alarm;
};

EthDevPam::EthDevPam(Ptr<EthDevBus> bus, IntfId intf, Host::PamConfig config)
    : bus_(std::move(bus)), intf_(intf), config_(std::move(config)) {
  bus_->endpointIs(*this);
}

EthDevPam::~EthDevPam() { close(); }

void EthDevPam::close() {
  if (!open_) return;
  open_ = false;
  delayed_.clear();
  waiting_.clear();
  bus_->endpointDel(*this);
}

Ptr<Pkt> EthDevPam::rxPkt() {
  if (waiting_.empty()) return nullptr;
  Ptr<Pkt> pkt = waiting_.front();
  waiting_.pop_front();
  return pkt;
}

void EthDevPam::txPktIs(Ptr<Pkt> pkt) {
  if (!open_ || !pkt) return;
  ++counters_.sent;
  const Ptr<EthDevBus> bus = bus_;
  bus->onTransmit().notify(intf_, *pkt);
}

bool EthDevPam::receive(std::span<const std::uint8_t> frame, Seconds unread) {
  if (!open_) return false;
  const std::size_t size = accepted(frame);
  if (size == 0) {
    ++counters_.filtered;
    return false;
  }
  if (!queue(frame.first(size))) {
    ++counters_.dropped;
    return false;
  }
  ++counters_.received;
  if (unread > Seconds()) {
    notifyAfter(unread);
  } else {
    onRxPkt().notify();
  }
  return true;
}

std::size_t EthDevPam::accepted(std::span<const std::uint8_t> frame) const {
  if (frame.size() < EthFrame::kHeader) return 0;
  const bool bound = config_.protocol != EthDevPamManager::kAllProtocols;
  if (bound && EthFrame::u16(frame, EthFrame::kEtherType) != config_.protocol) return 0;
  std::size_t size = std::min(frame.size(), config_.maxRxPktData);
  if (bus_->filters() && !config_.filter.empty()) {
    size = std::min<std::size_t>(size, runSocketFilter(config_.filter, frame));
  }
  return size < EthFrame::kHeader ? 0 : size;
}

bool EthDevPam::queue(std::span<const std::uint8_t> octets) {
  if (waiting_.size() >= kMaxWaiting) return false;
  Ptr<Pkt> pkt = bus_->rxPkts().pktIs(kRxHeadRoom, octets.size());
  if (!pkt) return false;
  pkt->append(octets);
  waiting_.push_back(std::move(pkt));
  return true;
}

void EthDevPam::notifyAfter(Seconds unread) {
  Delayed& delayed = delayed_.emplace_back(*this);
  delayed.self = std::prev(delayed_.end());
  delayed.alarm.dueIs(bus_->clock().now() + unread);
}

}  // namespace Platform::Embedded

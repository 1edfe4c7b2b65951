#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <span>

#include "platform/embedded/EthDevBus.h"
#include "platform/host/DevPam.h"

namespace Platform::Embedded {

// Packet endpoint on a port of a switch in this process. Always held by Ptr. Closed by close() or
// when its last reference goes.
class EthDevPam final : public Host::DevPam {
 public:
  // Frames that wait on a socket before further ones are dropped.
  static constexpr std::size_t kMaxWaiting = 16384;

  struct Counters {
    std::uint64_t received = 0;  // queued for the reader
    std::uint64_t filtered = 0;  // refused by protocol, filter or length
    std::uint64_t dropped = 0;   // refused because the queue was full
    std::uint64_t sent = 0;
  };

  EthDevPam(Ptr<EthDevBus> bus, IntfId intf, Host::PamConfig config);
  ~EthDevPam() override;

  Ptr<Pkt> rxPkt() override;
  void txPktIs(Ptr<Pkt> pkt) override;
  bool rxPktWaiting() const override { return !waiting_.empty(); }

  IntfId intfId() const { return intf_; }
  const Host::PamConfig& config() const { return config_; }
  bool open() const { return open_; }
  void close() override;

  // A frame from outside. Queued at once when it is accepted; the notification comes `unread`
  // later. False when the frame is refused.
  bool receive(std::span<const std::uint8_t> frame, Seconds unread = {});

  std::size_t waiting() const { return waiting_.size(); }
  const Counters& counters() const { return counters_; }

 private:
  struct Delayed;

  // Octets of the frame to deliver; 0 refuses it.
  std::size_t accepted(std::span<const std::uint8_t> frame) const;
  bool queue(std::span<const std::uint8_t> octets);
  void notifyAfter(Seconds unread);

  Ptr<EthDevBus> bus_;
  IntfId intf_;
  Host::PamConfig config_;
  bool open_ = true;
  std::deque<Ptr<Pkt>> waiting_;
  std::list<Delayed> delayed_;
  Counters counters_;
};

}  // namespace Platform::Embedded

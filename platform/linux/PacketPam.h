#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>

#include "platform/host/DevPam.h"
#include "platform/host/PktAllocator.h"
#include "platform/linux/Loop.h"
#include "platform/linux/PacketSocket.h"

namespace Platform::Linux {

// Packet endpoint on a network interface. Always held by Ptr. Closed by close() or when its last
// reference goes.
class PacketPam final : public Host::DevPam {
 public:
  struct Counters {
    std::uint64_t received = 0;  // handed to the reader or waiting for it
    std::uint64_t dropped = 0;   // by the kernel, for want of room on the socket
    std::uint64_t sent = 0;
    std::map<int, std::uint64_t> sendErrors;  // by errno
  };

  // Throws std::system_error when the interface is not there or the socket cannot be had.
  PacketPam(Ptr<Loop> loop, Ptr<RxBatch> batch, const std::string& interface,
            const Host::PamConfig& config);
  ~PacketPam() override;

  Ptr<Pkt> rxPkt() override;
  void txPktIs(Ptr<Pkt> pkt) override;
  bool rxPktWaiting() const override;
  void close() override;

  // Those of a closed endpoint are as they were at its end.
  const Counters& counters() const;

 private:
  void handleReadable();
  void receive(std::size_t most);

  Ptr<Loop> loop_;
  Ptr<RxBatch> batch_;
  PacketSocket socket_;
  std::size_t maxRxPktData_;
  std::deque<Ptr<Pkt>> waiting_;
  mutable Counters counters_;
  Readable readable_;
};

}  // namespace Platform::Linux

#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <span>
#include <string>

#include "platform/packet/EthAddr.h"
#include "platform/packet/Pkt.h"
#include "platform/packet/SocketFilter.h"

namespace Platform::Linux {

// Room for the frames of one reading, shared by the sockets of a loop.
class RxBatch final : public PtrInterface {
 public:
  // Frames read at once, so that one busy port cannot starve another.
  static constexpr std::size_t kFrames = 64;

  explicit RxBatch(Ptr<PktManager> pkts) : pkts_(std::move(pkts)) {}

  // An empty packet with `room` octets behind its front and some before it; null when there is
  // none.
  Pkt* pkt(std::size_t i, std::size_t room);
  Ptr<Pkt> take(std::size_t i) { return std::exchange(pktAt_[i], nullptr); }

 private:
  Ptr<PktManager> pkts_;
  std::array<Ptr<Pkt>, kFrames> pktAt_;
};

// A raw packet socket on one interface: whole frames as they were on the wire, of all protocols (on
// a port of a bridge a socket of one protocol sees nothing), as far as its filter accepts them,
// none that this host has sent.
class PacketSocket {
 public:
  // The filter is in place before the first frame is seen. It runs on frames whose outermost tag
  // the kernel has taken out already. Throws std::system_error.
  PacketSocket(const std::string& interface, std::span<const FilterInstruction> filter,
               EthAddr listenAddr);
  ~PacketSocket();
  PacketSocket(const PacketSocket&) = delete;
  PacketSocket& operator=(const PacketSocket&) = delete;

  int fd() const { return fd_; }
  void close();

  // Appends the next frames that wait, `most` of them at most, each cut to `limit` octets, with the
  // tag that the kernel took out of it.
  void receive(RxBatch& batch, std::size_t most, std::size_t limit, std::deque<Ptr<Pkt>>& frames);
  bool waiting() const;
  // 0, or the errno.
  int send(std::span<const std::uint8_t> frame);
  // Frames that the kernel has dropped since it was asked last.
  std::uint32_t dropped();
  // Reads and clears a pending error of the socket.
  int error();

 private:
  std::size_t receiveAtOnce(RxBatch& batch, std::size_t most, std::size_t limit,
                            std::deque<Ptr<Pkt>>& frames);

  int fd_ = -1;
};

}  // namespace Platform::Linux

#include "platform/linux/PacketSocket.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/ReceiveBuffer.h"
#include "platform/packet/EthFrame.h"

namespace Platform::Linux {
namespace {

// For a tag that is put back, and for a header that a reader puts in front.
constexpr std::size_t kRxHeadRoom = 64;
// Most readings bring one frame or two, and each place that is made ready is a packet to touch.
constexpr std::size_t kFewFrames = 4;

[[noreturn]] void refuse(const std::string& interface, const char* what) {
  throw std::system_error(errno, std::generic_category(), interface + ": " + what);
}

template <class T>
bool optionIs(int fd, int name, const T& value) {
  return ::setsockopt(fd, SOL_PACKET, name, &value, sizeof value) == 0;
}

const tpacket_auxdata* auxdataOf(msghdr& message) {
  for (cmsghdr* c = CMSG_FIRSTHDR(&message); c; c = CMSG_NXTHDR(&message, c)) {
    if (c->cmsg_level == SOL_PACKET && c->cmsg_type == PACKET_AUXDATA) {
      return reinterpret_cast<const tpacket_auxdata*>(CMSG_DATA(c));
    }
  }
  return nullptr;
}

// The kernel keeps the tag apart from the frame; here it stands where it stood on the wire.
void putTagBack(Pkt& pkt, const tpacket_auxdata& aux) {
  using namespace EthFrame;
  if (!(aux.tp_status & TP_STATUS_VLAN_VALID) || pkt.size() < kHeader) return;
  const std::uint16_t tpid =
      aux.tp_status & TP_STATUS_VLAN_TPID_VALID ? aux.tp_vlan_tpid : kTpid8021q;
  pkt.headAdd(kTag);
  std::memmove(pkt.data(), pkt.data() + kTag, kEtherType);
  const std::uint16_t tag[] = {htons(tpid), htons(aux.tp_vlan_tci)};
  std::memcpy(pkt.data() + kEtherType, tag, sizeof tag);
}

}  // namespace

Pkt* RxBatch::pkt(std::size_t i, std::size_t room) {
  Ptr<Pkt>& pkt = pktAt_[i];
  if (!pkt || pkt->tailRoom() < room) pkt = pkts_->pktIs(kRxHeadRoom, room);
  if (pkt) pkt->reset(kRxHeadRoom);
  return pkt.get();
}

PacketSocket::PacketSocket(const std::string& interface, std::span<const FilterInstruction> filter,
                           EthAddr listenAddr) {
  const unsigned index = ::if_nametoindex(interface.c_str());
  if (index == 0) refuse(interface, "no such interface");
  // Of no protocol until it is bound, and so without frames that the filter has not seen.
  fd_ = ::socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd_ < 0) refuse(interface, "no packet socket");
  try {
    static_assert(sizeof(FilterInstruction) == sizeof(sock_filter));
    if (!filter.empty()) {
      std::vector<sock_filter> program(filter.size());
      std::memcpy(program.data(), filter.data(), filter.size_bytes());
      const sock_fprog prog{static_cast<unsigned short>(program.size()), program.data()};
      const int set = ::setsockopt(fd_, SOL_SOCKET, SO_ATTACH_FILTER, &prog, sizeof prog);
      if (set != 0) refuse(interface, "the filter cannot be attached");
    }
    if (!optionIs(fd_, PACKET_IGNORE_OUTGOING, 1) || !optionIs(fd_, PACKET_AUXDATA, 1)) {
      refuse(interface, "the packet socket lacks an option");
    }
    enlargeReceiveBuffer(fd_);
    packet_mreq membership{};
    membership.mr_ifindex = static_cast<int>(index);
    membership.mr_type = PACKET_MR_MULTICAST;
    membership.mr_alen = EthFrame::kAddress;
    std::memcpy(membership.mr_address, listenAddr.data(), EthFrame::kAddress);
    if (!optionIs(fd_, PACKET_ADD_MEMBERSHIP, membership)) {
      refuse(interface, "the interface does not listen to the group");
    }
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(index);
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      refuse(interface, "the packet socket cannot be bound");
    }
  } catch (...) {
    close();
    throw;
  }
}

PacketSocket::~PacketSocket() { close(); }

void PacketSocket::close() {
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
}

void PacketSocket::receive(RxBatch& batch, std::size_t most, std::size_t limit,
                           std::deque<Ptr<Pkt>>& frames) {
  most = std::min(most, RxBatch::kFrames);
  const std::size_t few = std::min(most, kFewFrames);
  if (receiveAtOnce(batch, few, limit, frames) == few && most > few) {
    receiveAtOnce(batch, most - few, limit, frames);
  }
}

// Gives how many there were, good or not.
std::size_t PacketSocket::receiveAtOnce(RxBatch& batch, std::size_t most, std::size_t limit,
                                        std::deque<Ptr<Pkt>>& frames) {
  struct Place {
    iovec octets;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(tpacket_auxdata))> control;
  };
  std::array<Place, RxBatch::kFrames> places;
  std::array<mmsghdr, RxBatch::kFrames> messages;
  unsigned n = 0;
  for (; n < most; ++n) {
    Pkt* const pkt = batch.pkt(n, limit);
    if (!pkt) break;
    places[n].octets = {pkt->data(), limit};
    messages[n] = {};
    msghdr& header = messages[n].msg_hdr;
    header.msg_iov = &places[n].octets;
    header.msg_iovlen = 1;
    header.msg_control = places[n].control.data();
    header.msg_controllen = places[n].control.size();
  }
  const int got = fd_ < 0 || n == 0 ? 0 : ::recvmmsg(fd_, messages.data(), n, 0, nullptr);
  for (int i = 0; i < got; ++i) {
    const auto at = static_cast<std::size_t>(i);
    const Ptr<Pkt> pkt = batch.take(at);
    pkt->sizeIs(messages[at].msg_len);
    if (const auto* const aux = auxdataOf(messages[at].msg_hdr)) putTagBack(*pkt, *aux);
    if (pkt->size() > limit) pkt->sizeIs(limit);
    if (pkt->size() >= EthFrame::kHeader) frames.push_back(pkt);
  }
  return static_cast<std::size_t>(std::max(got, 0));
}

bool PacketSocket::waiting() const {
  pollfd poll{fd_, POLLIN, 0};
  return fd_ >= 0 && ::poll(&poll, 1, 0) == 1 && (poll.revents & POLLIN);
}

int PacketSocket::send(std::span<const std::uint8_t> frame) {
  while (::send(fd_, frame.data(), frame.size(), 0) < 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

std::uint32_t PacketSocket::dropped() {
  tpacket_stats statistics{};
  socklen_t size = sizeof statistics;
  if (::getsockopt(fd_, SOL_PACKET, PACKET_STATISTICS, &statistics, &size) != 0) return 0;
  return statistics.tp_drops;
}

int PacketSocket::error() {
  int error = 0;
  socklen_t size = sizeof error;
  ::getsockopt(fd_, SOL_SOCKET, SO_ERROR, &error, &size);
  return error;
}

}  // namespace Platform::Linux

// The far ends of an agent's wires, and the baselines that scripts/bench-net sets beside it. Each
// mode prints one number a line: nanoseconds, or octets.

#include <arpa/inet.h>
#include <linux/if_bridge.h>
#include <linux/if_packet.h>
#include <linux/rtnetlink.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <ctime>
#include <deque>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

#include "agent/daemon/EngineServices.h"
#include "agent/mvrp/MvrpBridge.h"
#include "bench/Measure.h"
#include "bench/Network.h"
#include "platform/host/PktAllocator.h"
#include "platform/linux/BridgeVlans.h"
#include "platform/linux/PacketSocket.h"

namespace {

using Bench::Octets;
using Clock = std::chrono::steady_clock;
namespace Kernel = Platform::Linux;

constexpr std::size_t kHeader = 14;
constexpr std::uint16_t kMvrp = 0x88f5;
constexpr std::uint16_t kVlans = 4094;
constexpr std::size_t kPorts = 8;

double nanoseconds(Clock::duration time) {
  return std::chrono::duration<double, std::nano>(time).count();
}

// A packet socket of one interface: all protocols, own frames left out.
class Wire {
 public:
  explicit Wire(const std::string& name) : fd_(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0)) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(::if_nametoindex(name.c_str()));
    int on = 1;
    ::setsockopt(fd_, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on);
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::system_error(errno, std::generic_category(), name);
    }
  }
  ~Wire() { ::close(fd_); }
  Wire(const Wire&) = delete;
  Wire& operator=(const Wire&) = delete;

  void send(const Octets& frame) const {
    if (::send(fd_, frame.data(), frame.size(), 0) < 0) {
      throw std::system_error(errno, std::generic_category(), "send");
    }
  }
  // The next frame of MVRP; none when there is no more within the time.
  bool receive(Octets& frame, int milliseconds) const {
    std::array<std::uint8_t, 2048> octets{};
    pollfd readable{fd_, POLLIN, 0};
    while (::poll(&readable, 1, milliseconds) == 1) {
      const ssize_t size = ::recv(fd_, octets.data(), octets.size(), 0);
      if (size < static_cast<ssize_t>(kHeader)) continue;
      if ((octets[12] << 8 | octets[13]) != kMvrp) continue;
      frame.assign(octets.begin(), octets.begin() + size);
      return true;
    }
    return false;
  }

 private:
  int fd_;
};

// Whether the first vector of a frame names the VLAN.
bool names(const Octets& frame, std::uint16_t vlan) {
  constexpr std::size_t kVector = kHeader + 3;
  if (frame.size() < kVector + 4) return false;
  const unsigned count = (frame[kVector] << 8 | frame[kVector + 1]) & 0x1fff;
  const unsigned first = frame[kVector + 2] << 8 | frame[kVector + 3];
  return vlan >= first && vlan < first + count;
}

// The bare loop, on sockets as the agent's: what comes in on one goes out by the other, twice as a
// bridge declares it.
void relay(const std::string& in, const std::string& out) {
  constexpr std::size_t kLargest = 10000;
  const auto& mvrp = Mrp::applicationInfo(Mrp::MrpApplication::mvrp);
  const auto filter = Daemon::ownFilter(mvrp.address, mvrp.etherType);
  Kernel::PacketSocket from(in, filter, mvrp.address);
  Kernel::PacketSocket to(out, filter, mvrp.address);
  Kernel::RxBatch batch(Platform::makePtr<Platform::Host::PktAllocator>());
  std::deque<Platform::Ptr<Platform::Pkt>> frames;
  std::cout << "on" << std::endl;
  pollfd readable{from.fd(), POLLIN, 0};
  while (::poll(&readable, 1, -1) == 1) {
    from.receive(batch, Kernel::RxBatch::kFrames, kLargest, frames);
    for (; !frames.empty(); frames.pop_front()) {
      to.send(frames.front()->octets());
      to.send(frames.front()->octets());
    }
  }
}

// From a Join on one wire to the frame on the other that declares it: the median.
void join(const std::string& in, const std::string& out, std::uint16_t count) {
  const Wire from(in);
  const Wire to(out);
  std::vector<double> times;
  Octets frame;
  for (std::uint16_t vlan = 1; vlan <= count; ++vlan) {
    while (to.receive(frame, 0)) {
    }
    const Octets request = Bench::vlanFrame(vlan, 1, Bench::kJoinIn);
    const auto began = Clock::now();
    from.send(request);
    bool found = false;
    while (!found && to.receive(frame, 2000)) found = names(frame, vlan);
    Bench::check(found, "the Join came out");
    times.push_back(nanoseconds(Clock::now() - began));
  }
  std::cout << Bench::median(times) << '\n';
}

// Every VLAN in one frame, on each of the wires, so many times over.
void blast(std::size_t count, std::span<const std::string> names) {
  std::vector<std::unique_ptr<Wire>> wires;
  for (const std::string& name : names) wires.push_back(std::make_unique<Wire>(name));
  const Octets frame = Bench::vlanFrame(1, kVlans, Bench::kJoinIn);
  for (std::size_t i = 0; i < count; ++i) {
    for (const auto& wire : wires) wire->send(frame);
  }
}

std::size_t residentOctets() {
  std::ifstream file("/proc/self/statm");
  std::size_t size = 0;
  std::size_t resident = 0;
  file >> size >> resident;
  return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

// The engine and the bridge alone, on the embedded platform: processor time of a frame with every
// VLAN that is registered already, then resident memory.
void engine(std::size_t rounds) {
  const auto bridge = Platform::makePtr<Mrp::MvrpBridge>();
  Bench::Network network(Mrp::MrpApplication::mvrp, kPorts,
                         {.lib = bridge, .status = {}, .spanningTree = false});
  bridge->start();
  for (const Platform::IntfId port : network.ports()) bridge->portIs(port);
  const Octets frame = Bench::vlanFrame(1, kVlans, Bench::kJoinIn);
  network.receiveOnAll(frame);
  network.run(2.0);
  Bench::check(network.registered() == kPorts * kVlans, "VLANs registered");
  std::vector<double> times;
  for (std::size_t i = 0; i < rounds; ++i) {
    const Bench::Cost cost = Bench::measured([&] { network.receiveOnAll(frame); });
    times.push_back(cost.ns / static_cast<double>(kPorts));
    network.run(0.1);
  }
  std::cout << Bench::median(times) << '\n' << residentOctets() << '\n';
}

// One message with a range, made by hand and acknowledged.
void bareRange(Kernel::RouteRequests& requests, int index, bool present) {
  ifinfomsg info{};
  info.ifi_family = AF_BRIDGE;
  info.ifi_index = index;
  Kernel::RouteMessage message(present ? RTM_SETLINK : RTM_DELLINK, 0, info);
  nlattr* const nest = message.nest(IFLA_AF_SPEC);
  const bridge_vlan_info first{BRIDGE_VLAN_INFO_RANGE_BEGIN, 1};
  const bridge_vlan_info last{BRIDGE_VLAN_INFO_RANGE_END, kVlans};
  message.put(IFLA_BRIDGE_VLAN_INFO, &first, sizeof first);
  message.put(IFLA_BRIDGE_VLAN_INFO, &last, sizeof last);
  message.nestEnd(nest);
  if (const auto error = requests.request(message)) throw std::runtime_error(error->text);
}

// Every VLAN into the kernel's bridge and out again: by hand, then as the agent does. Medians.
void vlans(const std::string& port) {
  const auto loop = Platform::makePtr<Kernel::Loop>();
  Kernel::Links links(loop);
  Kernel::RouteRequests requests;
  Kernel::BridgeVlans entries(loop, links);
  const int index = static_cast<int>(::if_nametoindex(port.c_str()));
  std::vector<double> byHand;
  std::vector<double> asTheAgent;
  for (int i = 0; i < 11; ++i) {
    auto began = Clock::now();
    bareRange(requests, index, true);
    byHand.push_back(nanoseconds(Clock::now() - began));
    bareRange(requests, index, false);
    loop->turn(0.01);
    began = Clock::now();
    entries.entriesAre(index, Mrp::VlanSet::all(), true);
    entries.flush();
    asTheAgent.push_back(nanoseconds(Clock::now() - began));
    entries.entriesAre(index, Mrp::VlanSet::all(), false);
    entries.flush();
    loop->turn(0.01);
  }
  std::cout << Bench::median(byHand) << '\n' << Bench::median(asTheAgent) << '\n';
}

// Printing the JSON of a file from memory, to a file that keeps nothing. The median.
void print(const std::string& path) {
  std::ifstream file(path);
  const auto json = nlohmann::ordered_json::parse(file);
  std::vector<double> times;
  for (int i = 0; i < 11; ++i) {
    times.push_back(Bench::measured([&] {
                      std::ofstream out("/dev/null");
                      out << json.dump() << '\n' << std::flush;
                    }).ns);
  }
  std::cout << Bench::median(times) << '\n';
}

template <class Number>
Number numberOf(const std::string& text) {
  Number number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

int run(const std::vector<std::string>& words) {
  const std::string mode = words.empty() ? "" : words[0];
  if (mode == "relay" && words.size() == 3) {
    relay(words[1], words[2]);
  } else if (mode == "join" && words.size() == 4) {
    join(words[1], words[2], numberOf<std::uint16_t>(words[3]));
  } else if (mode == "blast" && words.size() > 2) {
    blast(numberOf<std::size_t>(words[1]), std::span(words).subspan(2));
  } else if (mode == "engine" && words.size() == 2) {
    engine(numberOf<std::size_t>(words[1]));
  } else if (mode == "vlans" && words.size() == 2) {
    vlans(words[1]);
  } else if (mode == "print" && words.size() == 2) {
    print(words[1]);
  } else {
    std::cerr << "relay IN OUT | join IN OUT COUNT | blast COUNT WIRE... | engine ROUNDS | "
                 "vlans PORT | print FILE\n";
    return 2;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::cerr << "mrp_net_bench: " << error.what() << '\n';
    return 1;
  }
}

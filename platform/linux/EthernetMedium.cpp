#include "platform/linux/EthernetMedium.h"

#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace Platform::Linux {
namespace {

constexpr std::size_t kMasks = 3;  // of link modes, behind the settings
constexpr std::size_t kMaskWords = 127;
constexpr std::uint64_t kMega = 1'000'000;

// What an interface says of its link, to those who know how many words its masks have.
bool ask(int fd, const std::string& interface, std::int8_t words, ethtool_link_settings& settings) {
  std::array<char, sizeof(ethtool_link_settings) + kMasks * kMaskWords * sizeof(std::uint32_t)>
      room{};
  settings = {};
  settings.cmd = ETHTOOL_GLINKSETTINGS;
  settings.link_mode_masks_nwords = words;
  std::memcpy(room.data(), &settings, sizeof settings);
  ifreq request{};
  if (interface.size() >= sizeof request.ifr_name) return false;
  std::memcpy(request.ifr_name, interface.data(), interface.size());
  request.ifr_data = room.data();
  if (::ioctl(fd, SIOCETHTOOL, &request) != 0) return false;
  std::memcpy(&settings, room.data(), sizeof settings);
  return true;
}

}  // namespace

// The kernel first tells how long its masks of link modes are, as a negative number.
std::optional<EthernetMedium> ethernetMedium(const std::string& interface) {
  const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const int any = fd >= 0 ? fd : ::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (any < 0) return std::nullopt;
  ethtool_link_settings settings{};
  bool known = ask(any, interface, 0, settings);
  if (known && settings.link_mode_masks_nwords < 0) {
    known =
        ask(any, interface, static_cast<std::int8_t>(-settings.link_mode_masks_nwords), settings);
  }
  ::close(any);
  if (!known || settings.speed == 0 ||
      settings.speed == static_cast<std::uint32_t>(SPEED_UNKNOWN)) {
    return std::nullopt;
  }
  return EthernetMedium{settings.speed * kMega, settings.duplex == DUPLEX_FULL};
}

}  // namespace Platform::Linux

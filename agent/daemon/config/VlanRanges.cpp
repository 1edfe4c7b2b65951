#include "agent/daemon/config/VlanRanges.h"

#include <charconv>

namespace Daemon {
namespace {

std::optional<std::uint16_t> vlanFrom(std::string_view text) {
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return Mrp::VlanSet::valid(number) ? std::optional(number) : std::nullopt;
}

}  // namespace

std::optional<Mrp::VlanSet> vlansFrom(std::string_view range) {
  const std::size_t dash = range.find('-');
  const auto first = vlanFrom(range.substr(0, dash));
  const auto last = dash == std::string_view::npos ? first : vlanFrom(range.substr(dash + 1));
  if (!first || !last || *first > *last) return std::nullopt;
  Mrp::VlanSet vlans;
  for (unsigned vlan = *first; vlan <= *last; ++vlan) {
    vlans.put(static_cast<std::uint16_t>(vlan), true);
  }
  return vlans;
}

std::optional<Mrp::VlanSet> vlansFromList(std::string_view list) {
  Mrp::VlanSet vlans;
  for (std::size_t at = 0; at <= list.size();) {
    const std::size_t comma = std::min(list.find(',', at), list.size());
    const auto some = vlansFrom(list.substr(at, comma - at));
    if (!some) return std::nullopt;
    vlans |= *some;
    at = comma + 1;
  }
  return vlans;
}

std::vector<std::string> rangesOf(const Mrp::VlanSet& vlans) {
  std::vector<std::string> ranges;
  unsigned first = 0;
  unsigned last = 0;
  const auto end = [&] {
    if (first == 0) return;
    ranges.push_back(std::to_string(first) + (first == last ? "" : "-" + std::to_string(last)));
  };
  vlans.walk([&](std::uint16_t vlan) {
    if (first == 0 || vlan != last + 1) {
      end();
      first = vlan;
    }
    last = vlan;
  });
  end();
  return ranges;
}

std::string rangesText(const Mrp::VlanSet& vlans) {
  std::string text;
  for (const std::string& range : rangesOf(vlans)) text += (text.empty() ? "" : ", ") + range;
  return text;
}

}  // namespace Daemon

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "mrp/types/MrpEnums.h"

namespace Mrp {

// Which talker declaration a port has of a stream.
enum class TalkerKind : std::uint8_t { none, advertise, failed };

// What a port that declares `kind` makes of its neighbour's listener declaration (IEEE 802.1Q-2018
// 35.2.4.4): nobody behind a failed talker is served. `ignore` stands for none.
constexpr MsrpListenerEvent listenerBehind(TalkerKind kind, MsrpListenerEvent registered) {
  using enum MsrpListenerEvent;
  if (kind == TalkerKind::none || registered == ignore) return ignore;
  return kind == TalkerKind::failed ? askingFailed : registered;
}

// Two ports' declarations towards the talker (35.2.4.4.3). By the numbers of MsrpListenerEvent.
inline constexpr std::array<std::array<MsrpListenerEvent, 4>, 4> kListenerMerge = [] {
  using enum MsrpListenerEvent;
  return std::array<std::array<MsrpListenerEvent, 4>, 4>{{
      // ignore       askingFailed  ready        readyFailed
      {{ignore, askingFailed, ready, readyFailed}},              // ignore
      {{askingFailed, askingFailed, readyFailed, readyFailed}},  // askingFailed
      {{ready, readyFailed, ready, readyFailed}},                // ready
      {{readyFailed, readyFailed, readyFailed, readyFailed}},    // readyFailed
  }};
}();

constexpr MsrpListenerEvent merged(MsrpListenerEvent a, MsrpListenerEvent b) {
  return kListenerMerge[static_cast<std::size_t>(a)][static_cast<std::size_t>(b)];
}

// How many ports say what. Merging commutes and repeats nothing, so this is all that it needs.
class ListenerCounts {
 public:
  void add(MsrpListenerEvent event) { ++counts_[static_cast<std::size_t>(event)]; }
  void remove(MsrpListenerEvent event) { --counts_[static_cast<std::size_t>(event)]; }
  MsrpListenerEvent merged() const {
    MsrpListenerEvent all = MsrpListenerEvent::ignore;
    for (std::size_t event = 1; event < counts_.size(); ++event) {
      if (counts_[event] > 0) all = Mrp::merged(all, static_cast<MsrpListenerEvent>(event));
    }
    return all;
  }

 private:
  std::array<std::uint16_t, 4> counts_{};  // that of `ignore` means nothing
};

}  // namespace Mrp

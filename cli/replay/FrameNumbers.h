#pragma once

#include <algorithm>
#include <deque>
#include <map>

#include "agent/account/Account.h"
#include "cli/replay/Application.h"

namespace Cli {

// Tells an account the numbers that frames have in their files: they may wait unread, and some are
// never read.
class FrameNumbers final : public Mrp::MrpObserver {
 public:
  explicit FrameNumbers(Mrp::Accounts::Account& account) : account_(account) {}

  // A frame is about to come in on a port. Its octets outlive this.
  void comes(Platform::IntfId intf, std::uint32_t number, const Octets& octets) {
    if (account_.capacity() > 0) coming_[intf].push_back({number, octets});
  }

  // Read are the frames of a port in the order in which they came; long ones are cut.
  void frame(const Frame& frame) override {
    if (frame.direction == Direction::sent) return;
    std::deque<Coming>& coming = coming_[frame.intf];
    while (!coming.empty()) {
      const Coming next = coming.front();
      coming.pop_front();
      const auto read = frame.octets;
      if (read.size() > next.octets.size() ||
          !std::ranges::equal(read, next.octets.first(read.size()))) {
        continue;
      }
      account_.nextFrameIs(next.number);
      return;
    }
  }

 private:
  struct Coming {
    std::uint32_t number;
    OctetSpan octets;
  };
  Mrp::Accounts::Account& account_;
  std::map<Platform::IntfId, std::deque<Coming>> coming_;
};

}  // namespace Cli

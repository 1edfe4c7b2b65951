#include "agent/daemon/streams/CreditShaper.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Daemon {
namespace {

std::int32_t whole(double number) {
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::clamp(number, -kMost, kMost));
}

}  // namespace

// Annex L of IEEE 802.1Q-2018. Class A waits for one frame of any other queue; class B for one of a
// lower queue while class A's credit grows, and then for what class A sends of it.
CreditShaper shaperOf(Mrp::SrClass srClass,
                      const std::array<Mrp::BitsPerSecond, Mrp::kSrClasses>& slopes,
                      Mrp::BitsPerSecond rate, std::uint32_t maxPayload) {
  constexpr double kKilo = 1000;
  const auto kilobits = [](Mrp::BitsPerSecond s) {
    return std::ceil(static_cast<double>(s) / kKilo);
  };
  const double port = std::max(kilobits(rate), 1.0);
  const double idle = std::min(kilobits(slopes[Mrp::indexOf(srClass)]), port);
  const double send = idle - port;
  const double frame = maxPayload + double{kFrameOctets};
  double high = frame * idle / port;
  if (srClass == Mrp::SrClass::b) {
    const double above = std::min(kilobits(slopes[Mrp::indexOf(Mrp::SrClass::a)]), port - 1);
    if (above > 0) high = idle * (frame / (port - above) + frame / port);
  }
  return {whole(idle), whole(send), whole(std::ceil(high)), whole(std::floor(frame * send / port))};
}

}  // namespace Daemon

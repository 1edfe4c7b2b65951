#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>

#include "platform/linux/CreditShaper.h"
#include "platform/linux/RouteSocket.h"

namespace Platform::Linux {

// The transmit queues of an interface, in traffic classes, with shapers below.
//
//   root (mqprio) --- queue 1 --- shaper (cbs)
//                 \-- queue 2 --- …
class PortQueues {
 public:
  static constexpr std::size_t kPriorities = 16;

  // Traffic classes at the root of an interface.
  struct Classes {
    std::uint32_t handle = 0;
    // The first queue of the class of each priority, from 0.
    std::array<std::uint16_t, kPriorities> queueOfPriority{};
    // Shapers below queues.
    std::map<std::uint16_t, CreditShaper> shapers;
  };

  // None where the root is of another kind, or the kernel's default.
  std::optional<Classes> classes(int index);
  // Whether something that no kernel puts there by itself stands at the root.
  bool configured(int index);

  // Puts traffic classes at the root in place of the kernel's default: one queue for each of
  // `priorities`, in this order, and all others for the rest, of `queues` in all.
  std::optional<RouteError> classesAre(int index, std::uint32_t handle, std::uint32_t queues,
                                       std::initializer_list<std::uint8_t> priorities);
  // Gives the root back to the kernel's default.
  std::optional<RouteError> classesDel(int index, std::uint32_t handle);

  // Shapes a queue, by the device where it can, or changes how it is shaped.
  std::optional<RouteError> shaperIs(int index, const Classes& classes, std::uint16_t queue,
                                     const CreditShaper& shaper);
  // A queue without shaper sends as soon as it can.
  std::optional<RouteError> shaperDel(int index, const Classes& classes, std::uint16_t queue);

 private:
  RouteRequests requests_;
};

}  // namespace Platform::Linux

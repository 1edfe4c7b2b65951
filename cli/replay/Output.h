#pragma once

#include <string_view>

#include "cli/replay/FinalState.h"

namespace Cli {

// An indication as the application receives it.
struct Indication {
  bool join = false;
  std::string port;
  std::uint8_t type = 0;
  std::uint64_t key = 0;
  std::uint8_t event = 0;  // AttributeEvent
  Octets value;            // the receive record's image
};

// Receives what an engine does, in the order in which it happens.
class Output {
 public:
  virtual ~Output() = default;
  virtual void indication(Platform::Seconds, const Indication&) {}
  // A frame was handed to a port's endpoint.
  virtual void transmitted(Platform::Seconds, const std::string& /*port*/, OctetSpan /*frame*/) {}
  virtual void logged(Platform::Seconds, std::string_view /*handle*/, std::string_view /*text*/) {}
  // What a bridge of streams tells its switch.
  virtual void reserved(Platform::Seconds, const Mrp::ReservationState&) {}
  virtual void sloped(Platform::Seconds, const Mrp::SlopeState&) {}
  virtual void bounded(Platform::Seconds, const Mrp::BoundaryState&, bool /*on*/) {}
  // Comes once, at the end.
  virtual void finished(Platform::Seconds, const FinalState&) {}
};

}  // namespace Cli

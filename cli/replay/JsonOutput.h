#pragma once

#include <nlohmann/json_fwd.hpp>
#include <ostream>

#include "cli/replay/Output.h"

namespace Cli {

// One JSON object a line.
class JsonOutput final : public Output {
 public:
  explicit JsonOutput(std::ostream& out) : out_(out) {}

  void indication(Platform::Seconds time, const Indication& indication) override;
  void transmitted(Platform::Seconds time, const std::string& port, OctetSpan frame) override;
  void logged(Platform::Seconds time, std::string_view handle, std::string_view text) override;
  void reserved(Platform::Seconds time, const Mrp::ReservationState& state) override;
  void sloped(Platform::Seconds time, const Mrp::SlopeState& state) override;
  void bounded(Platform::Seconds time, const Mrp::BoundaryState& state, bool on) override;
  void finished(Platform::Seconds time, const FinalState& state) override;

 private:
  void line(const nlohmann::ordered_json& json);

  std::ostream& out_;
};

}  // namespace Cli

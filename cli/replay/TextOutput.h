#pragma once

#include <ostream>

#include "cli/replay/Output.h"

namespace Cli {

// For people: aligned columns of time, what, port; values and MRPDUs in words; tables at the end.
class TextOutput final : public Output {
 public:
  TextOutput(std::ostream& out, Mrp::MrpApplication application,
             const std::vector<std::string>& ports);

  void indication(Platform::Seconds time, const Indication& indication) override;
  void transmitted(Platform::Seconds time, const std::string& port, OctetSpan frame) override;
  void logged(Platform::Seconds time, std::string_view handle, std::string_view text) override;
  void reserved(Platform::Seconds time, const Mrp::ReservationState& state) override;
  void sloped(Platform::Seconds time, const Mrp::SlopeState& state) override;
  void bounded(Platform::Seconds time, const Mrp::BoundaryState& state, bool on) override;
  void finished(Platform::Seconds time, const FinalState& state) override;

 private:
  void line(Platform::Seconds time, std::string_view what, const std::string& port,
            const std::string& text);
  void counters(const FinalState& state);
  void attributes(const FinalState& state);
  void leaveAll(const FinalState& state);

  std::ostream& out_;
  Mrp::MrpApplication application_;
  std::size_t portWidth_ = 0;
};

}  // namespace Cli

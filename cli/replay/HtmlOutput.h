#pragma once

#include <fstream>
#include <map>
#include <string>

#include "cli/page/PageData.h"
#include "cli/replay/Inputs.h"
#include "cli/replay/Output.h"
#include "platform/time/Clock.h"

namespace Cli {

// Writes the page that shows a run.
class HtmlOutput final : public Output, public Mrp::MrpObserver {
 public:
  // Throws BadInput when the file cannot be created.
  HtmlOutput(const std::string& path, const Inputs& inputs, std::string title);

  // On which the facts of the observer happen; until it is known they happen at 0.
  void clockIs(const Platform::Clock& clock) { clock_ = &clock; }

  void indication(Platform::Seconds time, const Indication& indication) override;
  void logged(Platform::Seconds time, std::string_view handle, std::string_view text) override;
  // Throws BadInput when not everything could be written.
  void finished(Platform::Seconds time, const FinalState& state) override;

  void frame(const Frame& frame) override;
  void transition(const Transition& transition) override;
  void discard(const Discard& discard) override;
  void timer(const Timer& timer) override;
  void committed(const Commit& commit) override;

 private:
  PageData::Id add(PageData::Kind kind, PageData::Place where, std::uint32_t what);
  PageData::Place placeOf(const Mrp::MrpAttribute& attribute);

  std::string path_;
  std::string title_;
  std::ofstream file_;
  PageData data_;
  const Platform::Clock* clock_ = nullptr;
  std::optional<PageData::Id> cause_;
  Platform::Seconds causedAt_;
};

}  // namespace Cli

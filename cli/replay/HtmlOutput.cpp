#include "cli/replay/HtmlOutput.h"

#include <cerrno>
#include <cstring>

#include "cli/BadInput.h"
#include "cli/page/Page.h"

namespace Cli {

using Platform::Seconds;
using Kind = PageData::Kind;

HtmlOutput::HtmlOutput(const std::string& path, const Inputs& inputs, std::string title)
    : path_(path),
      title_(std::move(title)),
      file_(path, std::ios::binary),
      data_(inputs.application, inputs.ports) {
  if (!file_) throw BadInput(path, std::strerror(errno));
  for (const AttributeState& state : inputs.status) {
    data_.initially({Platform::IntfId(state.port), state.type, state.key},
                    static_cast<unsigned>(state.applicant),
                    static_cast<unsigned>(state.registrar));
    data_.valueIs(state.type, state.key, state.value);
  }
}

PageData::Id HtmlOutput::add(Kind kind, PageData::Place where, std::uint32_t what) {
  const Seconds now = clock_ ? clock_->now() : Seconds();
  if (now != causedAt_) cause_.reset();
  return data_.add(now, kind, where, what, cause_);
}

PageData::Place HtmlOutput::placeOf(const Mrp::MrpAttribute& attribute) {
  const bool whole = attribute.attributeType == 0 || attribute.attributeKey == 0;
  return whole ? data_.port(attribute.intfId) : data_.row(attribute);
}

void HtmlOutput::indication(Seconds, const Indication& indication) {
  data_.valueIs(indication.type, indication.key, indication.value);
}

void HtmlOutput::logged(Seconds, std::string_view, std::string_view) {}

void HtmlOutput::finished(Seconds time, const FinalState& state) {
  for (const AttributeState& attribute : state.attributes) {
    data_.valueIs(attribute.type, attribute.key, attribute.value);
  }
  file_ << selfContainedPage(data_.json(title_, time)) << std::flush;
  if (!file_) throw BadInput(path_, "the page could not be written");
}

void HtmlOutput::frame(const Frame& frame) {
  const bool received = frame.direction == Direction::received;
  if (received) cause_.reset();
  const auto id = add(received ? Kind::received : Kind::sent, data_.port(frame.intf),
                      data_.frameText(frame.octets));
  if (!received) return;
  cause_ = id;
  causedAt_ = clock_ ? clock_->now() : Seconds();
}

void HtmlOutput::transition(const Transition& t) {
  const auto what = static_cast<std::uint32_t>(t.from | t.event << 4 | t.to << 8);
  add(t.machine == Machine::applicant ? Kind::applicant : Kind::registrar, data_.row(t.attribute),
      what);
}

void HtmlOutput::discard(const Discard& discard) {
  add(Kind::discard, placeOf(discard.attribute), static_cast<std::uint32_t>(discard.reason));
  if (discard.reason != Reason::joinDiscarded) return;
  // What happens without an event: the Registrar stands at MT again.
  constexpr auto kMt = static_cast<unsigned>(Mrp::MrpRegistrarState::mt);
  constexpr auto kIn = static_cast<unsigned>(Mrp::MrpRegistrarState::in);
  constexpr auto kNone = static_cast<unsigned>(Mrp::MrpRegistrarEvent::none);
  add(Kind::registrar, data_.row(discard.attribute), kIn | kNone << 4 | kMt << 8);
}

void HtmlOutput::timer(const Timer& timer) {
  const PageData::Place where = timer.kind == TimerKind::leaveAll
                                    ? data_.port(timer.attribute.intfId)
                                    : data_.row(timer.attribute);
  if (timer.step == TimerStep::fired) cause_.reset();
  const Kind kind = timer.step == TimerStep::armed     ? Kind::armed
                    : timer.step == TimerStep::stopped ? Kind::stopped
                                                       : Kind::fired;
  const auto id = add(kind, where, static_cast<std::uint32_t>(timer.kind));
  if (timer.step == TimerStep::armed) data_.dueIs(id, timer.due);
  if (timer.step != TimerStep::fired) return;
  cause_ = id;
  causedAt_ = clock_ ? clock_->now() : Seconds();
}

void HtmlOutput::committed(const Commit& commit) {
  add(commit.added ? Kind::added : Kind::deleted, data_.row(commit.attribute), 0);
}

}  // namespace Cli

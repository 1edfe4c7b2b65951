#include "cli/replay/HtmlOutput.h"

#include <cerrno>
#include <cstring>

#include "cli/BadInput.h"
#include "cli/page/Page.h"
#include "cli/page/RecordFacts.h"

namespace Cli {

using Mrp::Accounts::Number;
using Platform::Seconds;

HtmlOutput::HtmlOutput(const std::string& path, const Inputs& inputs, std::string title)
    : path_(path),
      title_(std::move(title)),
      file_(path, std::ios::binary),
      data_(inputs.application, inputs.ports) {
  if (!file_) throw BadInput(path, std::strerror(errno));
  for (const AttributeState& state : inputs.status) {
    data_.initially({Platform::IntfId(state.port), state.type, state.key},
                    static_cast<unsigned>(state.applicant), static_cast<unsigned>(state.registrar));
    data_.valueIs(state.type, state.key, state.value);
  }
}

// Records that the ring has lost before they were taken stay empty: numbers are places.
void HtmlOutput::take() {
  if (!account_) return;
  for (Number next = records_.size() + 1; next <= account_->last(); ++next) {
    const Record* record = account_->record(next);
    Record lost{};
    if (!records_.empty()) lost.time = records_.back().time;
    records_.push_back(record ? *record : lost);
  }
}

void HtmlOutput::frame(const Frame& frame) {
  take();
  frames_[records_.size()] = data_.frameText(frame.octets);
}

void HtmlOutput::indication(Seconds, const Indication& indication) {
  data_.valueIs(indication.type, indication.key, indication.value);
}

void HtmlOutput::finished(Seconds time, const FinalState& state) {
  take();
  for (const AttributeState& attribute : state.attributes) {
    data_.valueIs(attribute.type, attribute.key, attribute.value);
  }
  addFacts();
  file_ << selfContainedPage(data_.json(title_, time)) << std::flush;
  if (!file_) throw BadInput(path_, "the page could not be written");
}

void HtmlOutput::addFacts() {
  const AccountRecords known(*account_);
  RecordFacts facts(data_, known);
  for (const Record& record : records_) facts.addRow(record);
  for (const Record& record : records_) {
    const auto frame = frames_.find(record.number);
    std::optional<PageData::Id> cause;
    if (const Number number = record.cause()) cause = static_cast<PageData::Id>(number - 1);
    facts.add(record, frame == frames_.end() ? 0 : frame->second, cause);
  }
}

}  // namespace Cli

#include "cli/replay/HtmlOutput.h"

#include <cerrno>
#include <cstring>

#include "cli/BadInput.h"
#include "cli/page/Page.h"
#include "cli/page/RecordText.h"

namespace Cli {

using Platform::Seconds;
using Fact = PageData::Kind;
using Mrp::Accounts::Kind;
using Mrp::Accounts::Number;

namespace {

constexpr std::uint8_t kTalkerFailed = 2;
constexpr std::uint8_t kListener = 3;

Fact factOf(const Mrp::Accounts::Record& record) {
  switch (record.kind) {
    case Kind::frameReceived:
      return Fact::received;
    case Kind::frameSent:
      return Fact::sent;
    case Kind::leaveAllReceived:
      return Fact::leaveAllReceived;
    case Kind::leaveAllSent:
      return Fact::leaveAllSent;
    case Kind::applicant:
      return Fact::applicant;
    case Kind::registrar:
      return Fact::registrar;
    case Kind::discard:
      return Fact::discard;
    case Kind::timerArmed:
      return Fact::armed;
    case Kind::timerFired:
      return Fact::fired;
    case Kind::timerStopped:
      return Fact::stopped;
    case Kind::committed:
      return record.event != 0 ? Fact::added : Fact::deleted;
    case Kind::none:
    case Kind::figures:  // told with their decision
      return Fact::nothing;
    default:
      return Fact::note;
  }
}

}  // namespace

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
  addRows();
  addFacts();
  file_ << selfContainedPage(data_.json(title_, time)) << std::flush;
  if (!file_) throw BadInput(path_, "the page could not be written");
}

void HtmlOutput::addRows() {
  for (const Record& record : records_) {
    if (record.kind != Kind::applicant && record.kind != Kind::registrar) continue;
    data_.row({account_->port(record), record.type, record.key});
  }
}

PageData::Place HtmlOutput::placeOf(const Record& record) {
  const Platform::IntfId intf = account_->port(record);
  switch (record.kind) {
    case Kind::frameReceived:
    case Kind::frameSent:
    case Kind::leaveAllReceived:
    case Kind::leaveAllSent:
      return data_.port(intf);
    case Kind::contribution:
      return data_.nearest({account_->portNumbered(record.detail), record.type, record.key});
    case Kind::decision: {
      const bool failed = record.to() == kTalkerFailed;
      return data_.nearest({intf, static_cast<std::uint8_t>(failed ? 2 : 1), record.key});
    }
    case Kind::listener:
      return data_.nearest({intf, kListener, record.key});
    default:
      return data_.nearest({intf, record.type, record.key});
  }
}

void HtmlOutput::addFacts() {
  for (const Record& record : records_) {
    const Fact fact = factOf(record);
    std::uint32_t what = record.event;
    switch (fact) {
      case Fact::received:
      case Fact::sent:
        what = frames_[record.number];
        break;
      case Fact::leaveAllReceived:
      case Fact::leaveAllSent:
        what = record.type;
        break;
      case Fact::applicant:
      case Fact::registrar:
        what = static_cast<std::uint32_t>(record.from() | record.event << 4 | record.to() << 8);
        break;
      case Fact::note:
        what = data_.text(recordText(data_.application(), *account_, record));
        break;
      default:
        break;
    }
    std::optional<PageData::Id> cause;
    if (const Number number = record.cause()) cause = static_cast<PageData::Id>(number - 1);
    const PageData::Id id = data_.add(record.at(), fact, placeOf(record), what, cause);
    const bool armed = fact == Fact::armed || (fact == Fact::registrar && record.detail != 0);
    if (armed) data_.dueIs(id, record.due());
  }
}

}  // namespace Cli

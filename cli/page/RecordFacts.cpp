#include "cli/page/RecordFacts.h"

namespace Cli {

using Fact = PageData::Kind;
using Mrp::Accounts::Kind;
using Mrp::Accounts::Record;

namespace {

constexpr std::uint8_t kTalkerFailed = 2;  // both its attribute type and its kind
constexpr std::uint8_t kTalkerAdvertise = 1;
constexpr std::uint8_t kListener = 3;

}  // namespace

Fact factOf(const Record& record) {
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

void RecordFacts::addRow(const Record& record) {
  if (record.kind != Kind::applicant && record.kind != Kind::registrar) return;
  data_.row({records_.portNumbered(record.port), record.type, record.key});
}

PageData::Place RecordFacts::placeOf(const Record& record) {
  const Platform::IntfId intf = records_.portNumbered(record.port);
  switch (record.kind) {
    case Kind::frameReceived:
    case Kind::frameSent:
    case Kind::leaveAllReceived:
    case Kind::leaveAllSent:
      return data_.port(intf);
    case Kind::contribution:
      return data_.nearest({records_.portNumbered(record.detail), record.type, record.key});
    case Kind::decision:
      return data_.nearest(
          {intf, record.to() == kTalkerFailed ? kTalkerFailed : kTalkerAdvertise, record.key});
    case Kind::listener:
      return data_.nearest({intf, kListener, record.key});
    default:
      return data_.nearest({intf, record.type, record.key});
  }
}

void RecordFacts::add(const Record& record, std::uint32_t frame,
                      std::optional<PageData::Id> cause) {
  const Fact fact = factOf(record);
  std::uint32_t what = record.event;
  switch (fact) {
    case Fact::received:
    case Fact::sent:
      what = frame;
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
      what = data_.text(recordText(data_.application(), records_, record));
      break;
    default:
      break;
  }
  const PageData::Id id = data_.add(record.at(), fact, placeOf(record), what, cause);
  const bool arms = fact == Fact::armed || (fact == Fact::registrar && record.detail != 0);
  if (arms) data_.dueIs(id, record.due());
}

}  // namespace Cli

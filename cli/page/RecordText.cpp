#include "cli/page/RecordText.h"

#include "agent/why/Words.h"
#include "cli/replay/BridgeText.h"
#include "cli/replay/ValueText.h"

namespace Cli {
namespace {

using Mrp::Accounts::Kind;
using Mrp::Accounts::Record;

// What the record is about, ready to be followed by its words.
std::string subjectText(Mrp::MrpApplication application, const Record& record) {
  const bool bridges = record.kind == Kind::decision || record.kind == Kind::reservation ||
                       record.kind == Kind::listener || record.kind == Kind::recovery;
  if (bridges) return "stream " + streamText(record.key) + ": ";
  if (record.type == 0) return {};
  const Mrp::AttributeTypeInfo* info = infoOf(application).type(record.type);
  const bool isStream = info && info->keys == Mrp::AttributeKeys::sparse;
  return typeName(application, record.type) + " " +
         (isStream ? streamText(record.key) : std::to_string(record.key)) + " ";
}

// The bandwidth that a decision was made by.
std::string figuresText(const RecordSource& records, const Record& decision) {
  if (decision.detail == 0) return {};
  std::string text = ", needs " + rateText(decision.detail);
  const Record* next = records.record(decision.number + 1);
  if (next && next->kind == Kind::figures && next->cause() == decision.number) {
    text += ", " + rateText(next->key) + " allowed, " + rateText(next->detail) + " in use";
  }
  return text;
}

}  // namespace

std::string recordText(Mrp::MrpApplication application, const RecordSource& records,
                       const Record& record) {
  Mrp::Why::Names names;
  names.port = [&records](std::uint64_t number) { return records.portNumbered(number); };
  const std::string text = subjectText(application, record) + Mrp::Why::wordsOf(record, names);
  return record.kind == Kind::decision ? text + figuresText(records, record) : text;
}

}  // namespace Cli

#include "agent/account/Reader.h"

#include <algorithm>

namespace Mrp::Accounts {

// Causes are older than what they cause, so this ends.
Reader::Chain Reader::causes(Number number) const {
  Chain chain;
  const Record* record = account_.record(number);
  while (record) {
    chain.records.push_back(*record);
    const Number cause = record->cause();
    if (cause == 0) {
      chain.ending = isFirstCause(record->kind) ? Ending::firstCause : Ending::untold;
      return chain;
    }
    record = account_.record(cause);
  }
  chain.ending = Ending::overwritten;
  return chain;
}

std::vector<Record> Reader::effects(Number number) const {
  std::vector<Record> effects;
  if (!account_.has(number)) return effects;
  std::vector<bool> caused(static_cast<std::size_t>(account_.last() - number) + 1);
  caused[0] = true;
  for (Number n = number + 1; n <= account_.last(); ++n) {
    const Record& r = *account_.record(n);
    if (r.cause() < number || !caused[static_cast<std::size_t>(r.cause() - number)]) continue;
    caused[static_cast<std::size_t>(n - number)] = true;
    effects.push_back(r);
  }
  return effects;
}

std::vector<Record> Reader::history(const MrpAttribute& attribute) const {
  std::vector<Record> records;
  account_.newest(attribute, account_.last() + 1, [&](const Record& r) {
    records.push_back(r);
    return false;
  });
  std::ranges::reverse(records);
  return records;
}

std::vector<Record> Reader::ofPort(IntfId intf) const {
  std::vector<Record> records;
  walk([&](const Record& r) {
    if (r.port == intf.value() && r.type == 0 && r.kind != Kind::decision &&
        r.kind != Kind::figures && r.kind != Kind::reservation && r.kind != Kind::listener) {
      records.push_back(r);
    }
  });
  return records;
}

}  // namespace Mrp::Accounts

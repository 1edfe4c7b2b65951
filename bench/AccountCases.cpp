// What it costs to keep an account of what happens.

#include <deque>

#include "agent/account/Account.h"
#include "bench/Cases.h"
#include "bench/ReceiveRefresh.h"
#include "platform/embedded/VirtualClock.h"

namespace Bench {
namespace {

using Mrp::MrpObserver;
using Mrp::Accounts::Account;
using Mrp::Accounts::Record;

constexpr std::size_t kRecorded = std::size_t{1} << 20;

// The plain way to keep the last so many records.
class PlainRing {
 public:
  void add(const Record& record) {
    if (records_.size() == Account::kDefaultCapacity) records_.pop_front();
    records_.push_back(record);
  }
  std::size_t size() const { return records_.size(); }

 private:
  std::deque<Record> records_;
};

// A registration that is put in doubt and declared again, over and over: each fact is recorded.
MrpObserver::Transition factOf(std::size_t i, IntfId port) {
  const bool doubt = i % 2 == 0;
  return {MrpObserver::Machine::registrar,
          std::uint8_t(doubt ? 0 : 1),
          std::uint8_t(doubt ? Mrp::MrpRegistrarEvent::rLv : Mrp::MrpRegistrarEvent::rJoinIn),
          std::uint8_t(doubt ? 1 : 0),
          {port, 1, i / 2 % kVlans + 1}};
}

}  // namespace

std::vector<Row> account(const Extent& extent) {
  const auto clock = Platform::makePtr<Platform::Embedded::VirtualClock>();
  const IntfId port("port1");
  PlainRing plain;
  const auto recordInto = [&](Account& into) {
    for (std::size_t i = 0; i < kRecorded; ++i) into.transition(factOf(i, port));
  };
  {
    Account warm(*clock, 16);  // the code is not the ring's memory
    recordInto(warm);
  }
  const double before = residentOctets();
  Account account(*clock);
  Rounds record("account-record");
  const auto recordAll = [&] { recordInto(account); };
  recordAll();
  const double octets = (residentOctets() - before) / static_cast<double>(account.capacity());
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost base = measured([&] {
      for (std::size_t n = 0; n < kRecorded; ++n) {
        const auto fact = factOf(n, port);
        plain.add({n, clock->now().nanoseconds(), fact.attribute.attributeKey, 0, 0, 0,
                   static_cast<std::uint32_t>(fact.attribute.intfId.value()),
                   Mrp::Accounts::Kind::registrar, fact.attribute.attributeType, fact.event,
                   fact.from});
      }
    });
    const auto last = account.last();
    const Cost cost = measured(recordAll);
    check(account.last() - last == kRecorded, "records of each fact");
    record.add(base / kRecorded, cost / kRecorded);
  }
  check(plain.size() == account.size(), "as many records kept");

  RefreshedNetwork network(extent.ports, kVlans);
  Rounds refresh("receive-refresh/account");
  for (int i = 0; i < extent.rounds; ++i) {
    const Cost without = network.pass(1);
    refresh.add(without, network.recorded());
  }
  return {record.row(), refresh.row(), {"memory-account", octets, {}, {}}};
}

}  // namespace Bench

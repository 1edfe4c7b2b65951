#pragma once

#include <string>

#include "agent/account/Account.h"

namespace Cli {

// The records among which one stands.
class RecordSource {
 public:
  virtual ~RecordSource() = default;
  // Null when it is not there.
  virtual const Mrp::Accounts::Record* record(Mrp::Accounts::Number number) const = 0;
  // The empty identifier where it is not known.
  virtual Platform::IntfId portNumbered(std::uint64_t number) const = 0;
};

// Those of an account, which outlives this.
class AccountRecords final : public RecordSource {
 public:
  explicit AccountRecords(const Mrp::Accounts::Account& account) : account_(account) {}
  const Mrp::Accounts::Record* record(Mrp::Accounts::Number number) const override {
    return account_.record(number);
  }
  Platform::IntfId portNumbered(std::uint64_t number) const override {
    return account_.portNumbered(number);
  }

 private:
  const Mrp::Accounts::Account& account_;
};

// A record that is none of a machine, a frame or a timer, in words and without its place:
// "vlan 20 declared by line 3 of the scenario".
std::string recordText(Mrp::MrpApplication application, const RecordSource& records,
                       const Mrp::Accounts::Record& record);

}  // namespace Cli

#pragma once

#include <vector>

#include "agent/account/Account.h"

namespace Mrp::Accounts {

// Answers from an account, for one attribute, port or stream.
class Reader {
 public:
  explicit Reader(const Account& account) : account_(account) {}
  const Account& account() const { return account_; }

  // How a chain of causes ends: with a reason by itself; where the ring has been overwritten; or
  // with something whose cause nobody told.
  enum class Ending : std::uint8_t { firstCause, overwritten, untold };
  struct Chain {
    std::vector<Record> records;  // newest first, the one that was asked for among them
    Ending ending = Ending::untold;
  };
  // A record and what caused it, back to the first cause that is still there. Empty for a record
  // that is not.
  Chain causes(Number number) const;

  // What a record has caused, directly or not, oldest first, without itself.
  std::vector<Record> effects(Number number) const;

  // All records of an attribute, oldest first; those of LeaveAlls, frames and roles are not among
  // them.
  std::vector<Record> history(const MrpAttribute& attribute) const;
  // All that concerns a port as a whole: its roles, what became of it, its frames.
  std::vector<Record> ofPort(IntfId intf) const;

  // The newest record that `wanted` accepts; null for none.
  template <class Wanted>
  const Record* newest(Wanted wanted) const {
    for (Number n = account_.last(); n >= account_.first(); --n) {
      const Record* r = account_.record(n);
      if (wanted(*r)) return r;
    }
    return nullptr;
  }
  template <class Visit>
  void walk(Visit visit) const {
    for (Number n = account_.first(); n <= account_.last(); ++n) visit(*account_.record(n));
  }

 private:
  const Account& account_;
};

}  // namespace Mrp::Accounts

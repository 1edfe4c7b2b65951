#pragma once

#include <string>

#include "agent/account/Account.h"

namespace Cli {

// A record that is none of a machine, a frame or a timer, in words and without its place:
// "declare VLAN 20, by line 3 of a scenario".
std::string recordText(Mrp::MrpApplication application, const Mrp::Accounts::Account& account,
                       const Mrp::Accounts::Record& record);

}  // namespace Cli

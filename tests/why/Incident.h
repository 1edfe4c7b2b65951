#pragma once

#include <string>
#include <vector>

#include "agent/why/Answer.h"
#include "cli/replay/ReplaySession.h"
#include "tests/engine/Support.h"

// An incident told to a switch on virtual time, and what the switch says of it afterwards.
namespace WhyTest {

using namespace EngineTest;
using Why::Answer;

// Neighbours, told apart by the last octet of their addresses.
constexpr std::uint64_t neighbour(unsigned n) { return 0x020000000a00 + n; }

class Incident {
 public:
  explicit Incident(MrpApplication application = MrpApplication::mvrp) {
    inputs.application = application;
  }
  Incident& bridge() {
    options.bridge = true;
    return *this;
  }
  Incident& ports(unsigned count);

  // What happens, in the order of times. The number of each is its place, from 1.
  Incident& at(double seconds, Cli::Action&& action);
  Incident& hears(double seconds, unsigned port, const Octets& frame, unsigned from = 1);
  Incident& vlan(double seconds, unsigned port, std::uint16_t vlan, Event event, unsigned from = 1);
  Incident& leaveAll(double seconds, unsigned port, unsigned from = 1);
  Incident& role(double seconds, unsigned port, Stp::MstiPortStatus::Role role);

  // Of a bridge of streams. The port's neighbour is of its domain but for `priorityA`.
  Incident& domain(double seconds, unsigned port, std::uint8_t priorityA = 3);
  Incident& talker(double seconds, unsigned port, std::uint64_t id, std::uint16_t octets = 80,
                   std::uint8_t rank = 1, Event event = New);
  Incident& talkerFailed(double seconds, unsigned port, std::uint64_t id, std::uint8_t code);
  Incident& listener(double seconds, unsigned port, std::uint64_t id, Event event = New);
  Incident& rate(double seconds, unsigned port, std::uint64_t bitsPerSecond);

  // Ends the story; the answers are asked for then.
  Incident& until(double seconds);
  Answer registration(unsigned port, std::uint16_t vlan);
  Answer declaration(unsigned port, std::uint16_t vlan);
  Answer stream(unsigned port, std::uint64_t id);
  Answer domainOf(unsigned port, std::uint8_t srClass);
  const Cli::ReplaySession& session();

  Cli::Inputs inputs;
  Cli::ReplayOptions options;

 private:
  Randomisation fixed_{false};
  std::unique_ptr<Cli::ReplaySession> session_;
};

IntfId port(unsigned n);
// All that an answer says, in one text.
std::string textOf(const Answer& answer);

}  // namespace WhyTest

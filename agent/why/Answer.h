#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent/account/Reader.h"
#include "agent/msrp/StreamPropagation.h"
#include "agent/mvrp/MvrpBridge.h"
#include "agent/why/Words.h"
#include "mrp/MrpSm/Engine.h"

// Why something is in the state it is in, in the words of people who run networks.
namespace Mrp::Why {

using Platform::Seconds;

// One thing that happened.
struct Step {
  Accounts::Number record = 0;
  Seconds time;
  IntfId port;  // empty where it belongs to none
  std::string text;
  // Of what came by a frame.
  std::uint64_t frame = 0;  // its number; 0: by none
  std::optional<Platform::EthAddr> source;
  // Of what somebody asked for.
  std::optional<Accounts::By> by;
  std::uint32_t user = Accounts::kNobody;
  std::uint32_t place = Accounts::kNobody;
};

// What is going to happen, unless something else does.
struct Coming {
  Seconds time;  // never: at no time that is known
  std::string text;
};

struct Answer {
  std::string about = {};    // "registration", "declaration", "stream", "domain"
  std::string subject = {};  // "VLAN 100", "stream 00:1b:…:0001", "class A"
  IntfId port = {};
  bool known = false;
  std::string state = {};          // in a sentence
  std::string cause = {};          // the word for it by which programs tell causes apart
  std::vector<Step> because = {};  // newest first
  std::optional<Accounts::Reader::Ending> ending = {};
  std::vector<Coming> next = {};
  // Of a stream on a port of a bridge: the list of decisions up to the one that decided.
  std::vector<Streams::DecisionStep> checks = {};
  std::string remedy = {};
  std::vector<std::string> lookedAt = {};  // where nothing is known
};

// Where answers come from. Whoever asks keeps all of it alive.
struct Sources {
  const Accounts::Account& account;
  const Engine& engine;
  std::vector<IntfId> ports;  // in natural order
  // What an administrator has said of a VLAN on a port.
  std::function<Registration(IntfId, std::uint16_t)> registration = {};
  // The bridge of streams; null without one.
  const Streams::StreamPropagation* streams = nullptr;
  // A time on the engine's clock as people read it; as a number of seconds where it is not told.
  std::function<std::string(Seconds)> clock = {};
  // The name of a user; "user 1000" where it is not told.
  std::function<std::string(std::uint32_t)> userName = {};

  std::string clockText(Seconds time) const;
};

// An empty port asks about every port of which something is known. There is an answer always.
std::vector<Answer> whyVlan(const Sources& sources, std::uint16_t vlan, IntfId port);
std::vector<Answer> whyStream(const Sources& sources, std::uint64_t stream, IntfId port);
std::vector<Answer> whyDomain(const Sources& sources, std::uint8_t srClass, IntfId port);

// "00:1b:21:aa:99:87:0001".
std::string streamName(std::uint64_t stream);

}  // namespace Mrp::Why

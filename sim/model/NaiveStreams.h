#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/msrp/StreamPropagation.h"
#include "agent/msrp/StreamSwitch.h"
#include "platform/time/Seconds.h"

namespace Sim {

// What a bridge of streams amounts to, in words: of each stream, by port what is declared, what is
// registered, a star where it is reserved, and what is declared to the talker, as in
// "1 from 0: 1=A1500/R* 2=F8/- > RF"; then entries, then slopes. Ports are numbers.
struct StreamWords {
  std::string streams;
  std::string reservations;
  std::string slopes;
};
// Empty if they are the same.
std::string difference(const StreamWords& is, const StreamWords& shouldBe);
// Of a bridge; a port's number is its place in `ports`.
StreamWords wordsOf(const Mrp::Streams::StreamPropagation& bridge,
                    const Mrp::StreamSwitch& forwarding,
                    const std::vector<Platform::IntfId>& ports);
// "A1500", "F8/1500", "-".
std::string wordOf(const Mrp::StreamPortState& port);

// The model of stream propagation: everything decided anew from all that is registered, by plain
// loops over plain maps. What it keeps between settlements is history that decides: who came first,
// and since when frames go somewhere. Ports are numbered from 0.
class NaiveStreams {
 public:
  using Id = std::uint64_t;
  using Value = Mrp::MsrpTalkerFailedAttribute;
  using Seconds = Platform::Seconds;

  struct Port {
    bool open = true;
    std::set<int> forwards{2, 3};
    Mrp::StreamPort settings;
    std::map<Mrp::SrClass, int> domain;
    std::map<int, Mrp::VlanEgress> egress;
    std::set<std::uint64_t> addresses;  // registered, for pruning
  };
  struct Settings {
    bool pruning = false;
    std::size_t fanIn = 0;
    std::uint32_t overhead = 43;
    std::size_t streamLimit = 0;
    std::size_t entryLimit = 0;
    Seconds recovery{30.0};
  };

  explicit NaiveStreams(std::size_t count) : ports(count) {}

  // A change of these is followed by partake().
  std::vector<Port> ports;
  Settings settings;
  std::uint64_t bridgeId = 0;

  void partake(Seconds now);
  // Nothing is declared on the port any more.
  void close(std::size_t port);
  void talker(std::size_t port, const Value& value, bool failed, Seconds now);
  void talkerGone(std::size_t port, Id id, Seconds now);
  void listener(std::size_t port, Id id, Mrp::MsrpListenerEvent event);
  void settle(Seconds now);

  // --- History that is known from elsewhere
  // The stream has had its reservation on the port for as long as all others that are told so.
  void reserved(Id id, std::size_t port);
  // It had to give way there to one of rank 0.
  void preempted(Id id, std::size_t port);

  StreamWords words() const { return {streams(), reservations(), slopes()}; }

 private:
  std::string streams() const;
  std::string reservations() const;
  std::string slopes() const;

  struct Talker {
    Value value;
    bool failed;
    std::uint64_t since;  // 0: takes no part
  };
  struct OnPort {
    Mrp::TalkerKind declared = Mrp::TalkerKind::none;
    int code = 0;  // -1: as received
    std::optional<std::uint32_t> first;
    bool preempted = false;
    bool refused = false;
    bool granted = false;
  };
  struct Stream {
    std::map<std::size_t, Talker> talkers;
    std::map<std::size_t, Mrp::MsrpListenerEvent> listeners;
    std::optional<std::size_t> in;
    std::uint64_t keptOrder = 0, address = 0, addressOrder = 0;
    std::optional<Seconds> changedAt;
    bool blocked = false;
    std::map<std::size_t, OnPort> on;
  };
  using Grant = std::pair<Id, std::size_t>;

  void refresh(Stream& s);
  bool takesPart(std::size_t port, const Value& value) const;
  const Value& valueOf(const Stream& s) const { return s.talkers.at(*s.in).value; }
  std::optional<Mrp::SrClass> classOf(const Stream& s) const;
  int rankOf(const Stream& s) const;
  std::uint64_t need(const Stream& s) const;
  std::uint32_t figure(const Stream& s, std::size_t port) const;
  bool inDomain(std::size_t port, Mrp::SrClass c) const;
  int outsideCode(std::size_t port, Mrp::SrClass c) const;
  bool kept(const Stream& s) const;
  bool owns(const Stream& s) const;
  // The code of a failure that no reservation can change; 0 if there is none, -2 for nothing.
  int standing(const Stream& s, std::size_t port) const;
  bool wanted(const Stream& s, std::size_t port) const;
  bool candidate(const Stream& s, std::size_t port) const;
  std::optional<Seconds> since(const Stream& s, std::size_t port) const;
  // 0, 1 or 3.
  int excess(const Stream& s, std::size_t port) const;
  std::set<std::size_t> inPorts() const;
  bool decide(Seconds now);
  bool tell(Seconds now);
  void declare(const std::set<Grant>& before);
  std::uint32_t latency(const Stream& s, std::size_t port) const;
  Mrp::MsrpListenerEvent merged(const Stream& s) const;

  std::map<Id, Stream> streams_;
  std::map<std::uint64_t, std::map<std::size_t, Seconds>> told_, closed_;
  std::uint64_t order_ = 0;
};

}  // namespace Sim

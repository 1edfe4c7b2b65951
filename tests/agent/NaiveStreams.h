#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "agent/msrp/StreamForwarding.h"
#include "agent/msrp/StreamState.h"
#include "platform/time/Seconds.h"

namespace EngineTest {

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

  // "1 from 0: 1=A1500/R* 2=F8/- > RF": of each stream, by port what is declared, what is
  // registered, a star where it is reserved, and what is declared to the talker.
  std::string streams() const;
  std::string reservations() const;
  std::string slopes() const;

 private:
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

}  // namespace EngineTest

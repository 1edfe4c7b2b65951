#pragma once

#include <map>
#include <set>
#include <string>

#include "agent/daemon/streams/StreamHost.h"

namespace DaemonTest {

// What a host can do for streams, in memory.
class FakeStreams final : public Daemon::StreamHost {
 public:
  using Entry = std::pair<std::string, Address>;

  Medium medium(const std::string& port) const override {
    const auto it = media.find(port);
    return it == media.end() ? Medium{1'000'000'000, true} : it->second;
  }
  bool entry(const std::string& port, const Address& address) const override {
    return made.contains({port, address}) || others.contains({port, address});
  }
  Answer entryIs(const std::string& port, const Address& address, bool present) override {
    ++requests;
    if (!present) {
      made.erase({port, address});
      return {};
    }
    if (entry(port, address)) return {.others = true};
    if (made.size() + others.size() >= room) {
      return {.result = Mrp::ReservationResult::tableFull, .why = "full"};
    }
    made.insert({port, address});
    return {};
  }
  std::optional<Daemon::CreditShaper> shaper(const std::string& port,
                                             Mrp::SrClass srClass) override {
    const auto it = shapers.find({port, srClass});
    return it == shapers.end() ? std::nullopt : std::optional(it->second);
  }
  bool shaperIs(const std::string& port, Mrp::SrClass srClass,
                const std::optional<Daemon::CreditShaper>& shaper, bool& ours,
                std::string& why) override {
    ++requests;
    if (shaper && withoutQueues.contains(port)) {
      why = "no queues";
      return false;
    }
    if (shaper) {
      shapers[{port, srClass}] = *shaper;
      ours = true;
    } else {
      shapers.erase({port, srClass});
    }
    return true;
  }
  void queuesDel(const std::string& port, bool) override {
    std::erase_if(shapers, [&](const auto& s) { return s.first.first == port; });
  }
  bool classesAre(const std::string&, const ClassPorts& ports, std::string&) override {
    classes = ports;
    return true;
  }

  // "p2 2/91:e0:f0:00:fe:01" for each entry of the agent's.
  std::string entries() const {
    std::string text;
    for (const auto& [port, address] : made) {
      text += (text.empty() ? "" : ", ") + port + " " + std::to_string(address.vlan) + "/" +
              address.mac.stringValue();
    }
    return text;
  }
  // kbit/s; 0 where a class is not shaped.
  std::int32_t idleSlope(const std::string& port, Mrp::SrClass srClass = Mrp::SrClass::a) const {
    const auto it = shapers.find({port, srClass});
    return it == shapers.end() ? 0 : it->second.idleSlope;
  }

  std::map<std::string, Medium> media;
  std::set<Entry> made;
  std::set<Entry> others;  // made by somebody else
  std::size_t room = 4096;
  std::map<std::pair<std::string, Mrp::SrClass>, Daemon::CreditShaper> shapers;
  std::set<std::string> withoutQueues;
  ClassPorts classes;
  int requests = 0;
};

}  // namespace DaemonTest

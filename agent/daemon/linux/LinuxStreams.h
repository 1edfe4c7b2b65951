#pragma once

#include <functional>
#include <map>

#include "agent/daemon/streams/StreamHost.h"
#include "platform/linux/BridgeGroups.h"
#include "platform/linux/PortQueues.h"

namespace Daemon {

// Streams in the kernel's bridge: entries of its group table and filtering database, credit-based
// shapers below the traffic classes of a port's queues, and nftables to tell frames apart.
class LinuxStreams final : public StreamHost {
 public:
  // `links` outlives this object.
  LinuxStreams(Platform::Ptr<Platform::Linux::Loop> loop, const Platform::Linux::Links& links);
  ~LinuxStreams() override;

  Medium medium(const std::string& port) const override;
  bool entry(const std::string& port, const Address& address) const override;
  Answer entryIs(const std::string& port, const Address& address, bool present) override;
  std::optional<CreditShaper> shaper(const std::string& port, Mrp::SrClass srClass) override;
  bool shaperIs(const std::string& port, Mrp::SrClass srClass,
                const std::optional<CreditShaper>& shaper, bool& ours, std::string& why) override;
  void queuesDel(const std::string& port, bool ours) override;
  bool classesAre(const std::string& bridge, const ClassPorts& ports, std::string& why) override;

 private:
  void handleGroups(int) { onChange().notify(); }

  struct Queues {
    int index = 0;
    Platform::Linux::PortQueues::Classes classes;
    // Shapers that were there before, of queues that the agent has shaped.
    std::map<std::uint16_t, std::optional<CreditShaper>> before;
  };

  // That of an interface that has been renamed as long as something is to be taken back there.
  int indexOf(const std::string& port) const;
  Queues* queues(const std::string& port);
  bool arrange(const std::string& port, bool& ours, std::string& why);

  const Platform::Linux::Links& links_;
  Platform::Linux::BridgeGroups groups_;
  Platform::Linux::PortQueues portQueues_;
  std::map<std::string, Queues> queues_;
  mutable std::map<std::string, int> indices_;  // as they were last
  Platform::Reactor<int> groupsReactor_;
};

}  // namespace Daemon

#include "fuzz/frames/OwnFilter.h"

#include <array>
#include <utility>
#include <vector>

#include "fuzz/Check.h"

namespace Fuzz {
namespace {

using namespace Platform;
using Program = std::vector<FilterInstruction>;

bool accepts(const Program& program, const Protocol& protocol) {
  std::array<std::uint8_t, 14> frame{};
  for (std::size_t i = 0; i < 6; ++i) {
    frame[i] = static_cast<std::uint8_t>(protocol.address >> (40 - 8 * i));
  }
  frame[12] = static_cast<std::uint8_t>(protocol.etype >> 8);
  frame[13] = static_cast<std::uint8_t>(protocol.etype);
  return runSocketFilter(program, frame) != 0;
}

// The upper halves of the two addresses are the same.
Program exchanged(Program program, const Protocol& from, const Protocol& to) {
  for (FilterInstruction& in : program) {
    if (in.code != FilterCode::kJumpEqual) continue;
    if (in.k == static_cast<std::uint32_t>(from.address)) {
      in.k = static_cast<std::uint32_t>(to.address);
    } else if (in.k == from.etype) {
      in.k = to.etype;
    }
  }
  return program;
}

class OwnFilterPamManager final : public EthDevPamManager {
 public:
  OwnFilterPamManager(Ptr<EthDevPamManager> inner, const Protocol& protocol, bool open)
      : inner_(std::move(inner)), protocol_(protocol), open_(open) {}
  void ethProtocolIs(std::uint16_t protocol) override { inner_->ethProtocolIs(protocol); }
  void listenAddrIs(EthAddr address) override { inner_->listenAddrIs(address); }
  void maxRxPktDataIs(std::size_t octets) override { inner_->maxRxPktDataIs(octets); }
  void socketPerIntfIs(bool perIntf) override { inner_->socketPerIntfIs(perIntf); }
  void enabledIs(bool enabled) override { inner_->enabledIs(enabled); }

  void socketFilterIs(Program program) override {
    static const Protocol first = protocol_;
    program = exchanged(std::move(program), first, protocol_);
    CHECK(filterIsValid(program));
    for (const Protocol& p : {kMsrp, kMvrp}) {
      CHECK(accepts(program, p) == (p.application == protocol_.application));
    }
    inner_->socketFilterIs(open_ ? Program{} : std::move(program));
  }

 private:
  Ptr<EthDevPamManager> inner_;
  Protocol protocol_;
  bool open_;
};

class OwnFilterServices final : public PlatformServices {
 public:
  OwnFilterServices(PlatformServices& inner, const Protocol& protocol, bool open)
      : inner_(inner), protocol_(protocol), open_(open) {}
  Ptr<Clock> activityClock() override { return inner_.activityClock(); }
  Trace& trace() override { return inner_.trace(); }
  EventLog& eventLog() override { return inner_.eventLog(); }
  PktManager& pktManager() override { return inner_.pktManager(); }
  Ptr<IntfStatusManagerRoot> intfStatusManagerRoot(Ptr<IntfStatusDir> all,
                                                   Ptr<IntfStatusDir> local) override {
    return inner_.intfStatusManagerRoot(std::move(all), std::move(local));
  }
  Ptr<EthDevPamManager> ethDevPamManager(Ptr<DesiredIntfDir> desired, Ptr<PamCollection> pams,
                                         Ptr<DeviceIntfStatusDir> devices) override {
    return makePtr<OwnFilterPamManager>(
        inner_.ethDevPamManager(std::move(desired), std::move(pams), std::move(devices)), protocol_,
        open_);
  }

 private:
  PlatformServices& inner_;
  Protocol protocol_;
  bool open_;
};

class OwnFilterManager final : public EntityManager {
 public:
  OwnFilterManager(Ptr<EntityManager> inner, const Protocol& protocol, bool open)
      : inner_(std::move(inner)), services_(inner_->services(), protocol, open) {}
  std::string name() const override { return inner_->name(); }
  Ptr<Entity> entity(const std::string& path) const override { return inner_->entity(path); }
  Ptr<Entity> shmTableIs(const std::string& type, const std::string& path,
                         const std::string& name) override {
    return inner_->shmTableIs(type, path, name);
  }
  void entityIs(const std::string& name, Ptr<Entity> entity) override {
    inner_->entityIs(name, std::move(entity));
  }
  void entityDel(const std::string& name) override { inner_->entityDel(name); }
  Ptr<AttrLogOutput> attrLogOutput(const std::string& name) override {
    return inner_->attrLogOutput(name);
  }
  std::string defaultNamespace() const override { return inner_->defaultNamespace(); }
  PlatformServices& services() override { return services_; }

 private:
  Ptr<EntityManager> inner_;
  OwnFilterServices services_;
};

}  // namespace

Ptr<EntityManager> withOwnFilter(Ptr<EntityManager> inner, const Protocol& protocol, bool open) {
  return makePtr<OwnFilterManager>(std::move(inner), protocol, open);
}

}  // namespace Fuzz

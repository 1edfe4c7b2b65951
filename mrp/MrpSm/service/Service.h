#pragma once

#include <string>

#include "mrp/MrpSm/Engine.h"
#include "mrp/MrpSm/env/Environment.h"

namespace Platform {
class DesiredIntfDir;
}

namespace Mrp {

class MrpApplicantSm;
class MrpLeaveAllSm;
class MrpRegistrarSm;
class Records;
class Transmitter;
struct Subject;

// The requests of the application, behind MrpLib: what it declares and withdraws, and what becomes
// of ports.
class Service {
 public:
  // Null in standby.
  struct Machines {
    MrpApplicantSm* applicant = nullptr;
    MrpRegistrarSm* registrar = nullptr;
    MrpLeaveAllSm* leaveAll = nullptr;
    Transmitter* transmitter = nullptr;
  };

  Service(const Environment& env, const Engine::Inputs& inputs, Records& records)
      : env_(env), inputs_(inputs), records_(records) {}
  void machinesAre(const Machines& machines) { machines_ = machines; }
  void desiredAre(Platform::DesiredIntfDir* desired) { desired_ = desired; }

  // Acts once for each port of the queue, see MrpLib::mrpSendAttribute.
  void request(MrpLib& lib, const MrpParameters& parameters);
  // Of the current attribute.
  void internalLeave();
  void deleteOnDefaultStates();

  void enable(IntfId intf);
  void disable(IntfId intf);
  // Nothing in standby: the databases that the active side wrote survive what happens to ports.
  void cleanUp(IntfId intf);
  void cleanUp(const MrpAttribute& attribute);

  std::string baseSpanningTreeTopo(IntfId intf) const;
  std::uint16_t nativeVlan(IntfId intf) const;

 private:
  bool active() const { return machines_.applicant != nullptr; }
  void act(const MrpParameters& parameters);
  void requestLeaveAll(MrpLib& lib, const MrpParameters& parameters);
  void actOtherwise(const MrpParameters& parameters);
  [[gnu::always_inline]] Subject drive(const MrpAttribute& attribute, MrpApplicantEvent event,
                                       const ValueRecords::Images& images);
  [[gnu::cold]] void traceRequest() const;
  [[gnu::cold]] void traceUnknown(std::uint8_t event) const;
  void deleteOnDefaultStates(Subject subject);
  void sendLeaveAll(const MrpParameters& parameters, IntfId intf, Seconds period);
  void remove(const MrpAttribute& attribute);

  const Environment& env_;
  const Engine::Inputs& inputs_;
  Records& records_;
  Machines machines_;
  Platform::DesiredIntfDir* desired_ = nullptr;
};

}  // namespace Mrp

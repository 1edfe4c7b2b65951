#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/packet/EthDevPamManager.h"
#include "platform/packet/Pam.h"

namespace Platform::Host {

// How an endpoint is set up when it is opened.
struct PamConfig {
  std::uint16_t protocol = EthDevPamManager::kAllProtocols;
  EthAddr listenAddr{};
  std::vector<FilterInstruction> filter{};  // none: every frame
  std::size_t maxRxPktData = 65535;
};

// Endpoint on a network device that its manager opens and closes. A closed endpoint gives no frame,
// sends none and notifies nobody, however long it is still held.
class DevPam : public Pam {
 public:
  bool ethDevPam() const final { return true; }
  virtual void close() = 0;
};

}  // namespace Platform::Host

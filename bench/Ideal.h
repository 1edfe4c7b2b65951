#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

// I: what the engine's work on VLANs costs without an engine. A prototype with the same machines,
// records of the same size and frames that are the same octet for octet, and with nothing around
// them: no ports that come and go, no application, no deferred changes, traces, logs, limits or
// other attribute types.
namespace Bench {

// A node of the wheel, 24 octets. It stands for a VLAN of a port.
struct IdealTimer {
  IdealTimer* prev = nullptr;
  IdealTimer* next = nullptr;
  std::uint16_t port = 0;
  std::uint16_t vlan = 0;

  bool armed() const { return next != nullptr; }
  void putBefore(IdealTimer& node);
  void cancel();
};

// One attribute on one port: a cache line.
struct IdealRecord {
  std::uint64_t key = 0;
  IdealTimer leave;
  IdealTimer explicitLeave;
  std::uint8_t applicant = 0;
  std::uint8_t registrar = 0;
  std::uint8_t valueSize = 0;
  std::array<std::uint8_t, 2> value{};
};
static_assert(sizeof(IdealRecord) == 64);

// An MRPDU while it is written.
class IdealPacket {
 public:
  void append(std::uint16_t vlan, std::uint8_t event, bool& leaveAll);
  // The finished frame; empty when nothing was appended. Valid until the next append.
  std::span<const std::uint8_t> finish(std::uint64_t source);
  std::uint64_t values() const { return values_; }

 private:
  void openVector(std::uint16_t vlan, bool& leaveAll);
  void closeVector();

  std::array<std::uint8_t, 1514> octets_{};
  std::size_t end_ = 0;     // 0: nothing was appended
  std::size_t vector_ = 0;  // where its header is
  std::uint16_t count_ = 0;
  std::uint16_t next_ = 0;  // the VLAN that would go on with the vector
  std::uint8_t place_ = 0;  // of the next event in its octet
  std::uint16_t leaveAll_ = 0;
  std::uint64_t values_ = 0;  // in all packets
};

class Ideal {
 public:
  explicit Ideal(std::size_t ports);
  Ideal(const Ideal&) = delete;
  Ideal& operator=(const Ideal&) = delete;

  void receive(std::size_t port, std::span<const std::uint8_t> frame);
  void receiveOnAll(std::span<const std::uint8_t> frame);
  // This station's own declaration; leaves with the next flush of the port.
  void join(std::size_t port, std::uint16_t vlan);
  // The LeaveAll timers of all ports expire.
  void leaveAll();
  void flush(std::size_t port);
  // Lets timers expire.
  void run(std::size_t ticks);

  // What was done: joins of registered VLANs, frames and values sent since construction.
  std::uint64_t joins() const { return joins_; }
  std::uint64_t frames() const { return frames_; }
  std::uint64_t values() const { return packets_[0].values() + packets_[1].values(); }
  std::span<const std::uint8_t> lastFrame() const { return {last_.data(), lastSize_}; }
  std::size_t registered() const;
  std::size_t leaving() const;

 private:
  struct alignas(64) Page {
    std::uint64_t present = 0;
    std::array<IdealRecord, 64> records;
  };
  using Port = std::array<std::unique_ptr<Page>, 64>;
  // With room for the largest value of any attribute type, as an array for all of them has it.
  struct Staged {
    std::uint64_t key;
    std::uint8_t event;
    std::uint8_t valueSize;
    std::array<std::uint8_t, 34> value;
  };

  bool stage(std::span<const std::uint8_t> frame);
  bool stageVector(std::span<const std::uint8_t>& rest);
  // The record of a VLAN, new when there was none.
  IdealRecord& recordIs(std::size_t port, std::uint16_t vlan) {
    Page* const page = ports_[port][vlan / 64u % 64].get();
    return page && page->present >> vlan % 64u & 1 ? page->records[vlan % 64u] : add(port, vlan);
  }
  IdealRecord& add(std::size_t port, std::uint16_t vlan);
  void erase(std::size_t port, std::uint64_t key);
  template <class Visit>
  void walk(std::size_t port, Visit visit);
  void applicant(IdealRecord& record, std::size_t event, bool registered);
  void registrar(IdealRecord& record, std::size_t event, std::span<const std::uint8_t> value);
  void arm(IdealTimer& timer);
  void send(const IdealRecord& record, bool second, std::uint8_t event);
  std::size_t inState(std::uint8_t state) const;

  std::vector<Port> ports_;
  std::vector<IdealTimer> wheel_;  // heads of circular lists, one for each tick
  std::size_t tick_ = 0;
  std::vector<Staged> staged_;
  bool leaveAllReceived_ = false;
  bool leaveAllToSend_ = false;
  std::array<IdealPacket, 2> packets_;
  std::array<std::uint8_t, 1514> last_{};
  std::size_t lastSize_ = 0;
  std::uint64_t joins_ = 0;
  std::uint64_t indications_ = 0;
  std::uint64_t frames_ = 0;
};

}  // namespace Bench

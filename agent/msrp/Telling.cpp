// What the switch is told: in an order in which no port ever carries more than it may.

#include <algorithm>

#include "agent/msrp/StreamPropagation.h"

namespace Mrp::Streams {
namespace {

bool has(const Entries::Ports& ports, const Port* port) {
  return std::ranges::find(ports, port, &Entries::Opened::port) != ports.end();
}

}  // namespace

// False when the switch has refused something, or has room again for what it refused: then more is
// to be decided.
bool StreamPropagation::tell() {
  const bool freed = closeEntries();
  if (freed && granting_.anyRefused()) {
    std::vector<Port*> all;
    for (const auto& port : ports_) all.push_back(port.get());
    granting_.retry(all);
    return false;
  }
  lowerSlopes();
  return raiseSlopes() && openEntries();
}

// Ports to which the address's owner is granted.
Entries::Ports StreamPropagation::wantedPorts(std::uint64_t address) const {
  Entries::Ports ports;
  const Stream* owner = addresses_.owner(address);
  if (!owner || owner->booked.address != address) return ports;
  const Entries::Ages ages = entries_.ages(address);
  for (const auto& port : ports_) {
    if (owner->fate(*port).place() != Place::granted) continue;
    ports.push_back({port.get(), ages.on(*port).value_or(clock_.now())});
  }
  return ports;
}

ReservationResult StreamPropagation::entryIs(std::uint64_t address, const Entries::Ports& ports) {
  PortSet set;
  for (const Entries::Opened& opened : ports) set.push_back(opened.port->intf);
  const ReservationResult result =
      forwarding_.reservationIs(Platform::VlanId(static_cast<std::uint16_t>(address >> 48)),
                                Platform::EthAddr::fromNumber(address), set);
  if (result == ReservationResult::ok || ports.empty()) entries_.entryIs(address, ports);
  return result;
}

// True when an entry is gone.
bool StreamPropagation::closeEntries() {
  bool freed = false;
  for (const std::uint64_t address : granting_.addresses()) {
    const Entries::Ports wanted = wantedPorts(address);
    Entries::Ports stays = entries_.of(address);
    const auto closed =
        std::erase_if(stays, [&](const auto& opened) { return !has(wanted, opened.port); });
    if (closed == 0) continue;
    freed |= stays.empty();
    entryIs(address, stays);
  }
  return freed;
}

void StreamPropagation::lowerSlopes() {
  for (Port* port : granting_.ports()) {
    for (const SrClassInfo& c : kSrClassTable) {
      BitsPerSecond& told = port->slope[indexOf(c.id)];
      const BitsPerSecond slope = port->bandwidth.reserved(c.id);
      if (slope < told) forwarding_.idleSlopeIs(port->intf, c.id, told = slope);
    }
  }
}

// A slope that is refused refuses what it was raised for.
bool StreamPropagation::raiseSlopes() {
  bool raised = true;
  for (Port* port : std::vector<Port*>(granting_.ports())) {
    for (const SrClassInfo& c : kSrClassTable) {
      BitsPerSecond& told = port->slope[indexOf(c.id)];
      const BitsPerSecond slope = port->bandwidth.reserved(c.id);
      if (slope <= told) continue;
      if (forwarding_.idleSlopeIs(port->intf, c.id, slope)) {
        told = slope;
        continue;
      }
      raised = false;
      granting_.walkBooked([&](Stream& s) {
        if (s.fate(*port).place() == Place::granted && s.booked.srClass == c.id &&
            !has(entries_.of(s.booked.address), port)) {
          granting_.refuse(s, *port, ReservationResult::noResource);
        }
      });
    }
  }
  return raised;
}

// In the order of rank and identifier; an entry that is refused is not granted.
bool StreamPropagation::openEntries() {
  std::vector<const Stream*> owners;
  for (const std::uint64_t address : granting_.addresses()) {
    const Stream* owner = addresses_.owner(address);
    if (owner && wantedPorts(address).size() > entries_.of(address).size()) owners.push_back(owner);
  }
  std::ranges::sort(owners, std::less<>(),
                    [](const Stream* s) { return std::pair(s->booked.rank, s->id); });
  bool all = true;
  for (const Stream* owner : owners) {
    const std::uint64_t address = owner->booked.address;
    const Entries::Ports before = entries_.of(address);
    const Entries::Ports wanted = wantedPorts(address);
    const ReservationResult result = entryIs(address, wanted);
    for (const Entries::Opened& opened : wanted) {
      if (has(before, opened.port)) continue;
      Stream& stream = *find(owner->id);
      Port& port = *ports_[opened.port->index];
      if (result == ReservationResult::ok) {
        opened_.emplace_back(&stream, &port);
      } else {
        granting_.refuse(stream, port, result);
      }
    }
    all = all && result == ReservationResult::ok;
  }
  granting_.fresh().clear();
  return all;
}

}  // namespace Mrp::Streams

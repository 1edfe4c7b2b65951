// What the engines did, handed on: to those who watch, and to the state that outlives the process.

#include "agent/daemon/Agent.h"
#include "agent/daemon/Values.h"
#include "mrp/types/MrpAttrDatabase.h"
#include "platform/host/JsonDump.h"

namespace Daemon {
namespace {

constexpr const char* kRequests = "requests";

// What a stored record stands for.
Entry entryOf(const Instance& of, const Mrp::MrpAttribute& attribute,
              const Mrp::MrpAttrDatabase* record) {
  Entry entry{.kind = Entry::Kind::record};
  entry.application = static_cast<std::uint8_t>(of.application());
  entry.type = attribute.attributeType;
  entry.key = attribute.attributeKey;
  entry.name = attribute.intfId.name();
  if (!record) return entry;
  entry.declared = declares(record->applicantState());
  entry.registered = record->registrarState() != Mrp::MrpRegistrarState::mt;
  entry.octets.assign(record->value().begin(), record->value().end());
  return entry;
}

}  // namespace

// --- Watchers ------------------------------------------------------------------------------------

void Agent::indicated(Instance& of, bool join, const Mrp::MrpParameters& parameters) {
  turnSoon();
  if (!watched()) return;
  const auto image = of.lib().rxImage(parameters.attributeType);
  const std::string& port = parameters.intfId.name();
  const std::uint64_t key = keyOfImage(of.application(), parameters.attributeType, image);
  event(join ? "join" : "leave", port,
        {{"port", port},
         {"type", parameters.attributeType},
         {"key", std::to_string(key)},
         {"event", parameters.attributeEvent},
         {"value", Platform::Host::hexText(image)},
         {"application", of.name()}});
}

void Agent::sent(Instance& of, IntfId intf, std::span<const std::uint8_t> octets) {
  if (!watched()) return;
  event("tx", intf.name(),
        {{"port", intf.name()},
         {"hex", Platform::Host::hexText(octets)},
         {"application", of.name()}});
}

void Agent::logged(Instance& of, std::string_view handle, const std::string& text) {
  if (!watched()) return;
  event("log", {}, {{"handle", handle}, {"text", text}, {"application", of.name()}});
}

// --- Stored state --------------------------------------------------------------------------------

void Agent::committed(Instance& of, const Mrp::MrpAttribute& attribute, bool added) {
  if (!store_ || withdrawn_) return;
  store_->put(entryOf(of, attribute, added ? of.record(attribute) : nullptr));
  turnSoon();
}

// At this moment the record is being worked on: what it comes to is stored at the end of the turn.
void Agent::changed(Instance& of, const Mrp::MrpAttribute& attribute) {
  if (!store_ || withdrawn_) return;
  unstored_.emplace(&of, attribute);
  turnSoon();
}

void Agent::storeRecord(const Instance& of, const Mrp::MrpAttribute& attribute) {
  const Mrp::MrpAttrDatabase* record = of.record(attribute);
  if (!store_ || (record && !record->committed())) return;
  store_->put(entryOf(of, attribute, record));
}

void Agent::storeClaims(const std::string& port, const Mrp::VlanSet& vlans, bool on) {
  if (!store_ || !active_ || withdrawn_) return;
  const auto link = host_.links().find(port);
  Entry entry{.kind = on ? Entry::Kind::claim : Entry::Kind::claimsGone};
  entry.ifindex = link == host_.links().end() ? 0 : link->second.ifindex;
  entry.name = port;
  entry.octets = octetsOf(vlans);
  store_->put(entry);
}

void Agent::storeRequests() {
  if (!store_ || !active_) return;
  const std::string text = requests_.saved(config_).dump();
  Entry entry{.kind = Entry::Kind::text};
  entry.name = kRequests;
  entry.octets.assign(text.begin(), text.end());
  store_->put(entry);
}

void Agent::storeSnapshot() {
  if (!store_ || !active_ || withdrawn_) return;
  store_->put({.kind = Entry::Kind::clear});
  storeRequests();
  for (const auto& instance : instances_) {
    for (const auto& [intf, port] : ports_) {
      for (std::uint8_t type = 1; type <= instance->types(); ++type) {
        instance->engine().walkRecords(
            intf, type, [&, &of = *instance, &at = intf](const Mrp::MrpAttrDatabase& record) {
              storeRecord(of, {at, type, record.attributeKey()});
            });
      }
    }
  }
  for (const auto& [intf, port] : ports_) {
    const Mrp::VlanSet owned = program_.owned(intf.name());
    if (!owned.empty()) storeClaims(intf.name(), owned, true);
  }
  streamProgram_.repeatClaims();
  store_->put({.kind = Entry::Kind::end});
  store_->flush();
}

// What belongs to ports and applications that are there no more is dropped, from the disk too.
void Agent::restore() {
  if (!store_) return;
  for (Entry& entry : store_->read()) {
    if (entry.kind == Entry::Kind::text && entry.name == kRequests) {
      const std::string text(entry.octets.begin(), entry.octets.end());
      const Rpc::Json json = Rpc::Json::parse(text, nullptr, false);
      if (json.is_discarded() || !requests_.restore(json, config_)) {
        log_.warning(store_->path() + ": what commands asked for cannot be read");
      }
      continue;
    }
    if (entry.kind == Entry::Kind::streamClaim) {
      restoreStreamClaim(std::move(entry));
      continue;
    }
    const IntfId intf(entry.name);
    const auto port = ports_.find(intf);
    if (entry.kind == Entry::Kind::claim) {
      if (port != ports_.end() && port->second.link.ifindex == entry.ifindex) {
        program_.claimsAre(entry.name, program_.owned(entry.name) | vlansOf(entry.octets));
      } else {
        entry.kind = Entry::Kind::claimsGone;
        store_->put(entry);
      }
      continue;
    }
    Instance* const of = instance(static_cast<Mrp::MrpApplication>(entry.application));
    // A port without carrier has lost what was registered there.
    if (of && port != ports_.end() && port->second.link.up && of->portHas(intf) &&
        of->recordIs(intf, entry.type, entry.key, entry.declared, entry.registered, entry.octets)) {
      restored_ = true;
    } else {
      entry.declared = entry.registered = false;
      store_->put(entry);
    }
  }
}

}  // namespace Daemon

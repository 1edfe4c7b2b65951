#include "tests/engine/Support.h"

#include <cstdlib>
#include <sstream>

namespace EngineTest {
namespace {

constexpr const char* kVariable = "DISABLE_LEAVE_ALL_RANDOMIZATION";

const char* eventText(unsigned event) {
  static constexpr const char* names[] = {"New", "JoinIn", "In", "JoinMt", "Mt", "Lv"};
  return event < std::size(names) ? names[event] : "?";
}

std::size_t firstValueSize(const App& app, std::uint8_t type) {
  static constexpr std::size_t msrp[] = {0, 25, 34, 8, 4};
  if (app.application == MrpApplication::mvrp) return type == 1 ? 2 : 0;
  return type < std::size(msrp) ? msrp[type] : 0;
}

// The key is what FirstValue begins with.
std::size_t keySize(const App& app, std::uint8_t type) {
  if (app.application == MrpApplication::mvrp) return 2;
  return type == 4 ? 1 : 8;
}

// Takes big-endian numbers from the front; remembers whether there was ever too little.
struct Reading {
  std::uint64_t take(std::size_t octets) {
    std::uint64_t value = 0;
    for (; octets > 0; --octets) {
      if (rest.empty()) {
        short_ = true;
        return 0;
      }
      value = value << 8 | rest[0];
      rest = rest.subspan(1);
    }
    return value;
  }
  bool endMark() const { return rest.size() >= 2 && rest[0] == 0 && rest[1] == 0; }
  std::span<const std::uint8_t> rest;
  bool short_ = false;
};

std::string vectorText(const App& app, std::uint8_t type, Reading& in) {
  const auto header = static_cast<unsigned>(in.take(2));
  const unsigned n = header & 0x1fff;
  const std::size_t size = firstValueSize(app, type);
  std::ostringstream text;
  text << +type << ":" << (header & 0x2000 ? "LA" : "") << (header & 0x2000 && n ? " " : "");
  const std::uint64_t key = in.take(keySize(app, type));
  for (std::size_t i = keySize(app, type); i < size; ++i) in.take(1);
  if (n == 0) return std::move(text).str();
  text << keyText(app, type, key) << "=";
  std::vector<unsigned> events, declarations;
  while (events.size() < n && !in.short_) {
    const auto octet = static_cast<unsigned>(in.take(1));
    for (unsigned event : {octet / 36, octet / 6 % 6, octet % 6}) events.push_back(event);
  }
  const bool listeners = app.application == MrpApplication::msrp && type == 3;
  while (listeners && declarations.size() < n && !in.short_) {
    const auto octet = static_cast<unsigned>(in.take(1));
    for (unsigned shift : {6u, 4u, 2u, 0u}) declarations.push_back(octet >> shift & 3);
  }
  for (unsigned i = 0; i < n && !in.short_; ++i) {
    text << (i ? "," : "") << eventText(events[i]);
    if (listeners) text << "/" << declarations[i];
  }
  return std::move(text).str();
}

}  // namespace

Octets number(std::uint64_t value, std::size_t octets) {
  Octets out(octets);
  for (std::size_t i = octets; i-- > 0; value >>= 8) out[i] = static_cast<std::uint8_t>(value);
  return out;
}

Octets talker(std::uint64_t streamId, std::uint64_t dmac, std::uint32_t latency) {
  return number(streamId, 8) + number(dmac, 6) + number(2, 2) + number(64, 2) + number(1, 2) +
         Octets{0x70} + number(latency, 4);
}

Octets failed(std::uint64_t streamId, std::uint8_t code) {
  return talker(streamId) + number(0x8000020000000001, 8) + Octets{code};
}

Octets domain(std::uint8_t classId, std::uint8_t priority, std::uint16_t vid) {
  return Octets{classId, priority} + number(vid, 2);
}

Octets listener(std::uint64_t streamId, Declaration declaration) {
  return number(streamId, 8) + number(declaration, 4);
}

Octets vec(const Octets& firstValue, const Events& events, bool leaveAll,
           const std::vector<std::uint8_t>& declarations) {
  Octets out = number((leaveAll ? 0x2000u : 0u) | events.size(), 2) + firstValue;
  for (std::size_t i = 0; i < events.size(); i += 3) {
    unsigned octet = 0;
    for (std::size_t j = i; j < i + 3; ++j) octet = octet * 6 + (j < events.size() ? events[j] : 0);
    out.push_back(static_cast<std::uint8_t>(octet));
  }
  for (std::size_t i = 0; i < declarations.size(); i += 4) {
    unsigned octet = 0;
    for (std::size_t j = i; j < i + 4; ++j) {
      octet = octet * 4 + (j < declarations.size() ? declarations[j] : 0);
    }
    out.push_back(static_cast<std::uint8_t>(octet));
  }
  return out;
}

Octets leaveAllVec(std::size_t size) { return number(0x2000, 2) + Octets(size); }

Octets message(const App& app, std::uint8_t type, const Octets& vectors) {
  Octets head{type, static_cast<std::uint8_t>(firstValueSize(app, type))};
  if (app.application == MrpApplication::msrp) head = head + number(vectors.size() + 2, 2);
  return head + vectors + Octets{0, 0};
}

Octets vlans(std::uint16_t first, const Events& events, bool leaveAll) {
  return pdu(message(kMvrp, 1, vec(vlan(first), events, leaveAll)));
}

Octets streams(std::uint8_t type, const Octets& firstValue, const Events& events, bool leaveAll,
               const std::vector<std::uint8_t>& declarations) {
  return pdu(message(kMsrp, type, vec(firstValue, events, leaveAll, declarations)));
}

Octets frame(const App& app, const Octets& pdu, const Octets& tag) {
  return number(app.address, 6) + number(0x020000000099, 6) + tag + number(app.etype, 2) + pdu;
}

std::string keyText(const App& app, std::uint8_t type, std::uint64_t key) {
  std::ostringstream text;
  if (app.application == MrpApplication::msrp && type != 4) text << std::hex;
  text << key;
  return std::move(text).str();
}

std::string decoded(const App& app, std::span<const std::uint8_t> octets) {
  Reading in{octets};
  if (in.take(6) != app.address) return "bad destination";
  in.take(6);
  if (in.take(2) != app.etype) return "bad EtherType";
  if (in.take(1) != 0) return "bad version";
  std::string text;
  while (!in.endMark() && !in.short_) {
    const auto type = static_cast<std::uint8_t>(in.take(1));
    const std::uint64_t length = in.take(1);
    if (length == 0 || length != firstValueSize(app, type)) return "bad type or length";
    std::uint64_t listLength = 0;
    if (app.application == MrpApplication::msrp) listLength = in.take(2);
    const std::size_t before = in.rest.size();
    if (!text.empty()) text += " | ";
    for (std::string between; !in.endMark() && !in.short_; between = "; ") {
      text += between + vectorText(app, type, in);
    }
    in.take(2);
    if (app.application == MrpApplication::msrp && before - in.rest.size() != listLength) {
      return "bad AttributeListLength";
    }
  }
  in.take(2);
  if (in.short_) return "bad: cut off";
  return in.rest.empty() ? text : "bad: goes on after the end mark";
}

bool RecordingLib::mrpJoinIndication(const MrpParameters& parameters) {
  note('+', parameters);
  return onJoin && onJoin(parameters);
}

void RecordingLib::mrpLeaveIndication(const MrpParameters& parameters) {
  note('-', parameters);
  if (onLeave) onLeave(parameters);
}

void RecordingLib::note(char sign, const MrpParameters& parameters) {
  const App& app = application() == MrpApplication::msrp ? kMsrp : kMvrp;
  const std::uint8_t type = parameters.attributeType;
  std::ostringstream text;
  text << sign << +type << ":"
       << keyText(app, type, Reading{rxImage(type)}.take(keySize(app, type))) << " "
       << eventText(parameters.attributeEvent) << " " << parameters.intfId;
  log.push_back(std::move(text).str());
}

// --- The switch ----------------------------------------------------------------------------------

Rig::Rig(const App& of, Ptr<MrpLib> lib, Ptr<VirtualClock> by)
    : clock(std::move(by)), app(of), sw(std::make_unique<Switch>(clock)), served(std::move(lib)) {
  sw->bus()->filtersIs(false);
  sw->bridgingConfig()->bridgeMacAddrIs(EthAddr::fromNumber(0x020000000000));
  sw->onTransmit([this](IntfId intf, const Pkt& pkt) {
    sent_.push_back({intf, Octets(pkt.octets().begin(), pkt.octets().end())});
  });
  served->applicationIs(app.application);
  served->applicationMacAddrIs(EthAddr::fromNumber(app.address));
  served->applicationEtypeIs(app.etype);
}

Rig::~Rig() = default;

void Rig::start(bool standby) {
  engine = nullptr;
  engine = engineFactory({sw->bridgingConfig(), served.get(), config, status, sw->stpStatus(),
                          sw->bridgingTopologyConfig(), sw->ethPhyIntfStatusDir(),
                          sw->stateDatabase(), standby});
}

IntfId Rig::device(unsigned n, std::uint32_t mtu) {
  return sw->portIs("port" + std::to_string(n), EthAddr::fromNumber(0x020000000000 + n), mtu);
}

void Rig::roleIs(IntfId intf, Role role, const std::string& msti) {
  sw->stpStatus()->childIs("one").childIs(msti).childIs(intf.name()).roleIs(role);
}

Station::Station(const App& of, Start how, Ptr<VirtualClock> by)
    : Rig(of, makePtr<RecordingLib>(), std::move(by)),
      lib(static_cast<RecordingLib*>(served.get())) {
  if (how != Start::none) start(how == Start::standby);
}

IntfId Station::port(unsigned n, std::uint32_t mtu) {
  const IntfId intf = device(n, mtu);
  if (engine) lib->mrpInterfaceEnable(intf);
  return intf;
}

void Station::request(IntfId intf, std::uint8_t type, const Octets& value, Event event) {
  const std::span<std::uint8_t> image = lib->txImage(type);
  if (!value.empty()) {
    ASSERT_EQ(image.size(), value.size());
    std::copy(value.begin(), value.end(), image.begin());
  }
  lib->mrpOutIntfQueueEnq(intf);
  MrpParameters parameters;
  parameters.intfId = intf;
  parameters.attributeType = type;
  parameters.attributeEvent = event;
  lib->mrpSendAttribute(parameters);
}

std::vector<Octets> Rig::sentFrames(IntfId intf) {
  std::vector<Octets> frames;
  std::erase_if(sent_, [&](const Frame& f) {
    if (f.intf == intf) frames.push_back(f.octets);
    return f.intf == intf;
  });
  return frames;
}

Texts Rig::sent(IntfId intf) {
  Texts texts;
  for (const Octets& octets : sentFrames(intf)) texts.push_back(decoded(app, octets));
  return texts;
}

Texts Rig::sent() {
  Texts texts;
  for (const Frame& f : std::exchange(sent_, {})) {
    texts.push_back(f.intf.name() + " " + decoded(app, f.octets));
  }
  return texts;
}

Texts Rig::attributes(IntfId intf) const {
  Texts texts;
  for (std::uint8_t type = 1; type <= app.types; ++type) {
    engine->walkRecords(intf, type, [&](const MrpAttrDatabase& r) {
      texts.push_back(std::to_string(type) + ":" + keyText(app, type, r.attributeKey()) + " " +
                      attribute(intf, type, r.attributeKey()));
    });
  }
  return texts;
}

std::string Rig::attribute(IntfId intf, std::uint8_t type, std::uint64_t key) const {
  const MrpAttrDatabase* r = record(intf, type, key);
  if (!r) return "none";
  return std::string(stringValue(r->applicantState())) + "/" + stringValue(r->registrarState());
}

MrpAttrDatabase* Rig::record(IntfId intf, std::uint8_t type, std::uint64_t key) const {
  MrpIntfTypeApplicant* types = typeApplicant(intf, type);
  return types ? types->visible(key) : nullptr;
}

Octets Rig::value(IntfId intf, std::uint8_t type, std::uint64_t key) const {
  const MrpAttrDatabase* r = record(intf, type, key);
  return r ? Octets(r->value().begin(), r->value().end()) : Octets{};
}

std::set<std::uint64_t> Rig::registered(IntfId intf, std::uint8_t type) const {
  std::set<std::uint64_t> keys;
  engine->walkRecords(intf, type, [&](const MrpAttrDatabase& r) {
    if (r.registrarState() == Registrar::in) keys.insert(r.attributeKey());
  });
  return keys;
}

namespace {

template <class Wanted>
std::size_t count(MrpIntfTypeApplicant* types, Wanted wanted) {
  std::size_t n = 0;
  if (!types) return n;
  types->walk(AttrTable::kPresent, [&](MrpAttrDatabase& record) { n += wanted(record) ? 1u : 0u; });
  return n;
}

}  // namespace

std::size_t Rig::committed(IntfId intf, std::uint8_t type) const {
  return count(typeApplicant(intf, type), [](const MrpAttrDatabase& r) { return r.committed(); });
}

std::size_t Rig::records(IntfId intf, std::uint8_t type) const {
  return count(typeApplicant(intf, type), [](const MrpAttrDatabase&) { return true; });
}

Texts Rig::logged() {
  Texts texts;
  for (const auto& m : sw->eventLog().messages()) texts.push_back(m.handle + " " + m.text);
  sw->eventLog().messagesDelAll();
  return texts;
}

double Rig::leaveAllDue(IntfId intf, std::uint8_t type) const {
  const std::optional<Seconds> due = engine->leaveAllDue({intf, type});
  return due ? due->value() : -1;
}

bool Rig::leaving(IntfId intf, std::uint8_t type, std::uint64_t key, bool explicitLeave) const {
  MrpIntfTypeApplicant* types = typeApplicant(intf, type);
  MrpAttrDatabase* r = types ? types->any(key) : nullptr;
  if (!r) return false;
  const MrpLeaveSm& leave = explicitLeave ? r->explicitLeaveSm() : r->leaveSm();
  return leave.leavePending() && leave.armed();
}

Randomisation::Randomisation(bool on) : was_(!std::getenv(kVariable)) { this->on(on); }
Randomisation::~Randomisation() { on(was_); }
void Randomisation::on(bool on) {
  if (on) {
    ::unsetenv(kVariable);
  } else {
    ::setenv(kVariable, "1", 1);
  }
}

}  // namespace EngineTest

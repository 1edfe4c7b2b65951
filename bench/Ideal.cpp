#include "bench/Ideal.h"

#include <algorithm>
#include <bit>

namespace Bench {
namespace {

// Events of a PDU as they are numbered there, then what has no number.
enum Event : std::size_t { rNew, rJoinIn, rIn, rJoinMt, rMt, rLv, rLA, txLA, joinRequest, kEvents };
constexpr std::size_t leaveTimer = joinRequest;  // of the Registrar

enum State : std::uint8_t { VO, VP, VN, AN, AA, QA, LA, AO, QO, AP, QP, LO, kStates };
enum Registered : std::uint8_t { MT, LV, IN };

// Events sent into the first and the second packet. Join and state depend on the Registrar:
// JoinIn or JoinMt, In or Mt.
enum Send : std::uint8_t { none, news, joining, state };
struct Cell {
  Send first, second;
  State next;
};
constexpr Cell o(State next) { return {none, none, next}; }
constexpr Cell N(State next) { return {news, none, next}; }
constexpr Cell NN(State next) { return {news, news, next}; }
constexpr Cell J(State next) { return {joining, none, next}; }
constexpr Cell JJ(State next) { return {joining, joining, next}; }
constexpr Cell S(State next) { return {state, none, next}; }
constexpr Cell SJ(State next) { return {state, joining, next}; }

// IEEE 802.1Q-2018 table 10-3, with declarations sent at once.
// clang-format off
constexpr Cell kApplicant[kStates][kEvents] = {
// rNew   rJoinIn rIn    rJoinMt rMt    rLv     rLA     txLA    Join!
  {o(VO), o(AO),  o(VO), o(VO),  o(VO), S(VO),  S(VO),  S(VO),  JJ(QA)},
  {o(VP), J(QA),  o(VP), o(VP),  o(VP), o(VP),  o(VP),  SJ(QA), o(VP)},
  {o(VN), o(VN),  o(VN), o(VN),  o(VN), o(VN),  o(VN),  NN(QA), o(VN)},
  {o(AN), o(AN),  o(AN), o(AN),  o(AN), NN(QA), NN(QA), N(QA),  o(AN)},
  {o(AA), o(QA),  o(QA), o(AA),  o(AA), JJ(QA), JJ(QA), o(AA),  o(AA)},
  {o(QA), o(QA),  o(QA), J(QA),  J(QA), JJ(QA), JJ(QA), J(QA),  JJ(QA)},
  {o(LA), o(LA),  o(LA), o(LA),  o(LA), o(LA),  o(LA),  S(VO),  J(QA)},
  {o(AO), o(QO),  o(AO), o(AO),  o(AO), S(VO),  S(VO),  S(VO),  J(QA)},
  {o(QO), o(QO),  o(QO), o(AO),  o(AO), S(VO),  S(VO),  S(VO),  o(QP)},
  {o(AP), o(QP),  o(AP), o(AP),  o(AP), JJ(QA), JJ(QA), J(QA),  o(AP)},
  {o(QP), o(QP),  o(QP), J(QA),  J(QA), JJ(QA), JJ(QA), J(QA),  o(QP)},
  {o(LO), o(LO),  o(LO), o(VO),  o(VO), o(LO),  o(LO),  o(LO),  JJ(QA)},
};

enum class Act : std::uint8_t {
  none, tell, refresh, stopAndTell, stopAndRefresh, start, startExplicit, leave,
};
struct RegistrarCell {
  Act act;
  Registered next;
};
// IEEE 802.1Q-2018 table 10-4.
constexpr RegistrarCell kRegistrar[3][kEvents] = {
// rNew                       rJoinIn                    rIn
// rJoinMt                    rMt                        rLv
// rLA                        txLA                       timer
  {{Act::tell, IN},           {Act::tell, IN},           {Act::none, MT},
   {Act::tell, IN},           {Act::none, MT},           {Act::none, MT},
   {Act::none, MT},           {Act::none, MT},           {Act::none, MT}},
  {{Act::stopAndTell, IN},    {Act::stopAndRefresh, IN}, {Act::none, LV},
   {Act::stopAndRefresh, IN}, {Act::none, LV},           {Act::startExplicit, LV},
   {Act::start, LV},          {Act::start, LV},          {Act::leave, MT}},
  {{Act::tell, IN},           {Act::refresh, IN},        {Act::none, IN},
   {Act::refresh, IN},        {Act::none, IN},           {Act::startExplicit, LV},
   {Act::start, LV},          {Act::start, LV},          {Act::none, IN}},
};
// clang-format on

constexpr std::array<std::uint8_t, 17> kHead{0x01, 0x80, 0xc2, 0,    0,    0x21, 0, 0, 0,
                                             0,    0,    0,    0x88, 0xf5, 0,    1, 2};
constexpr std::size_t kSourceAt = 6;
constexpr std::uint64_t kFirstSource = 0x020000000001;
constexpr std::size_t kEtherTypeAt = 12;
constexpr std::size_t kVlanSize = 2;
constexpr std::size_t kLeaveTicks = 6;
constexpr std::size_t kWheelTicks = 1024;

std::uint16_t number16(const std::uint8_t* octets) {
  return static_cast<std::uint16_t>(octets[0] << 8 | octets[1]);
}
void put16(std::uint8_t* octets, std::uint16_t number) {
  octets[0] = static_cast<std::uint8_t>(number >> 8);
  octets[1] = static_cast<std::uint8_t>(number);
}

bool sameValue(const IdealRecord& record, std::span<const std::uint8_t> value) {
  if (record.valueSize != value.size()) return false;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (record.value[i] != value[i]) return false;
  }
  return true;
}

}  // namespace

// --- Timers --------------------------------------------------------------------------------------

void IdealTimer::putBefore(IdealTimer& node) {
  prev = node.prev;
  next = &node;
  prev->next = this;
  node.prev = this;
}

void IdealTimer::cancel() {
  if (!armed()) return;
  prev->next = next;
  next->prev = prev;
  prev = next = nullptr;
}

void Ideal::arm(IdealTimer& timer) {
  if (!timer.armed()) timer.putBefore(wheel_[(tick_ + kLeaveTicks) % kWheelTicks]);
}

void Ideal::run(std::size_t ticks) {
  for (const std::size_t end = tick_ + ticks; tick_ < end;) {
    IdealTimer& head = wheel_[++tick_ % kWheelTicks];
    while (head.next != &head) {
      IdealTimer& timer = *head.next;
      timer.cancel();
      IdealRecord& record = recordIs(timer.port, timer.vlan);
      registrar(record, leaveTimer, record.value);
      if (record.registrar == MT && record.applicant == VO) erase(timer.port, record.key);
    }
  }
}

// --- Packets -------------------------------------------------------------------------------------

void IdealPacket::append(std::uint16_t vlan, std::uint8_t event, bool& leaveAll) {
  if (count_ == 0 || vlan != next_) openVector(vlan, leaveAll);
  if (place_ == 0) octets_[end_++] = 0;
  constexpr std::array<std::uint8_t, 3> kWeights{36, 6, 1};
  octets_[end_ - 1] = static_cast<std::uint8_t>(octets_[end_ - 1] + event * kWeights[place_]);
  place_ = place_ == 2 ? 0 : static_cast<std::uint8_t>(place_ + 1);
  ++count_;
  ++next_;
}

void IdealPacket::openVector(std::uint16_t vlan, bool& leaveAll) {
  if (end_ == 0) {
    std::ranges::copy(kHead, octets_.begin());
    end_ = kHead.size();
  } else {
    closeVector();
  }
  vector_ = end_;
  leaveAll_ = leaveAll ? 0x2000 : 0;
  leaveAll = false;
  put16(&octets_[vector_ + 2], vlan);
  end_ += 4;
  next_ = vlan;
  count_ = 0;
  place_ = 0;
}

void IdealPacket::closeVector() {
  put16(&octets_[vector_], static_cast<std::uint16_t>(leaveAll_ | count_));
  values_ += count_;
}

std::span<const std::uint8_t> IdealPacket::finish(std::uint64_t source) {
  if (end_ == 0) return {};
  closeVector();
  for (std::size_t i = 0; i < 6; ++i) {
    octets_[kSourceAt + i] = static_cast<std::uint8_t>(source >> (40 - 8 * i));
  }
  std::fill_n(octets_.begin() + static_cast<std::ptrdiff_t>(end_), 4, std::uint8_t{0});
  const std::size_t size = end_ + 4;
  end_ = 0;
  count_ = 0;
  return {octets_.data(), size};
}

void Ideal::flush(std::size_t port) {
  for (IdealPacket& packet : packets_) {
    const auto frame = packet.finish(kFirstSource + port);
    if (frame.empty()) continue;
    std::ranges::copy(frame, last_.begin());
    lastSize_ = frame.size();
    ++frames_;
  }
}

// --- Records -------------------------------------------------------------------------------------

Ideal::Ideal(std::size_t ports) : ports_(ports), wheel_(kWheelTicks) {
  for (IdealTimer& head : wheel_) head.prev = head.next = &head;
}

IdealRecord& Ideal::add(std::size_t port, std::uint16_t vlan) {
  std::unique_ptr<Page>& page = ports_[port][vlan / 64u % 64];
  if (!page) page = std::make_unique<Page>();
  page->present |= std::uint64_t{1} << vlan % 64u;
  IdealRecord& record = page->records[vlan % 64u];
  record = {};
  record.key = vlan;
  for (IdealTimer* timer : {&record.leave, &record.explicitLeave}) {
    timer->port = static_cast<std::uint16_t>(port);
    timer->vlan = vlan;
  }
  return record;
}

void Ideal::erase(std::size_t port, std::uint64_t key) {
  ports_[port][key / 64 % 64]->present &= ~(std::uint64_t{1} << key % 64);
}

template <class Visit>
void Ideal::walk(std::size_t port, Visit visit) {
  for (const std::unique_ptr<Page>& page : ports_[port]) {
    if (!page) continue;
    for (std::uint64_t left = page->present; left; left &= left - 1) {
      visit(page->records[static_cast<std::size_t>(std::countr_zero(left))]);
    }
  }
}

std::size_t Ideal::inState(std::uint8_t state) const {
  std::size_t count = 0;
  for (std::size_t port = 0; port < ports_.size(); ++port) {
    const_cast<Ideal*>(this)->walk(
        port, [&](const IdealRecord& record) { count += record.registrar == state; });
  }
  return count;
}
std::size_t Ideal::registered() const { return inState(IN); }
std::size_t Ideal::leaving() const { return inState(LV); }

// --- Machines ------------------------------------------------------------------------------------

void Ideal::applicant(IdealRecord& record, std::size_t event, bool registered) {
  // In the order of Send, registered or not.
  static constexpr std::uint8_t kSent[2][4] = {{0, rNew, rJoinMt, rMt}, {0, rNew, rJoinIn, rIn}};
  const Cell cell = kApplicant[record.applicant][event];
  if (cell.first != none) send(record, false, kSent[registered][cell.first]);
  if (cell.second != none) send(record, true, kSent[registered][cell.second]);
  record.applicant = cell.next;
}

void Ideal::send(const IdealRecord& record, bool second, std::uint8_t event) {
  packets_[second].append(static_cast<std::uint16_t>(record.key), event, leaveAllToSend_);
}

void Ideal::registrar(IdealRecord& record, std::size_t event, std::span<const std::uint8_t> value) {
  const RegistrarCell cell = kRegistrar[record.registrar][event];
  record.registrar = cell.next;
  switch (cell.act) {
    case Act::none:
      return;
    case Act::start:
      return arm(record.leave);
    case Act::startExplicit:
      return arm(record.explicitLeave);
    case Act::leave:
      ++indications_;
      return;
    case Act::stopAndTell:
    case Act::stopAndRefresh:
      record.leave.cancel();
      record.explicitLeave.cancel();
      break;
    case Act::tell:
    case Act::refresh:
      break;
  }
  ++joins_;
  const bool told = cell.act == Act::tell || cell.act == Act::stopAndTell;
  if (!told && sameValue(record, value)) return;
  record.valueSize = static_cast<std::uint8_t>(value.size());
  for (std::size_t i = 0; i < value.size(); ++i) record.value[i] = value[i];
  ++indications_;
}

// --- Frames and requests -------------------------------------------------------------------------

bool Ideal::stageVector(std::span<const std::uint8_t>& rest) {
  const std::uint16_t header = number16(rest.data());
  const std::size_t count = header & 0x1fff;
  const std::size_t size = 4 + (count + 2) / 3;
  if (rest.size() < size) return false;
  leaveAllReceived_ |= header >= 0x2000;
  std::uint16_t vlan = number16(&rest[2]);
  std::size_t left = count;
  staged_.resize(staged_.size() + count);
  Staged* at = staged_.data() + staged_.size() - count;
  for (const unsigned octet : rest.subspan(4, size - 4)) {
    for (const unsigned event : {octet / 36, octet / 6 % 6, octet % 6}) {
      if (left == 0) break;
      --left;
      at->key = vlan;
      at->event = static_cast<std::uint8_t>(event);
      at->valueSize = kVlanSize;
      put16(at->value.data(), vlan++);
      ++at;
    }
  }
  rest = rest.subspan(size);
  return true;
}

bool Ideal::stage(std::span<const std::uint8_t> frame) {
  staged_.clear();
  leaveAllReceived_ = false;
  if (frame.size() < kHead.size() + 4 ||
      !std::equal(kHead.begin(), kHead.begin() + kSourceAt, frame.begin())) {
    return false;
  }
  if (!std::equal(kHead.begin() + kEtherTypeAt, kHead.end(), frame.begin() + kEtherTypeAt)) {
    return false;
  }
  auto rest = frame.subspan(kHead.size());
  while (rest.size() >= 4 && number16(rest.data()) != 0) {
    if (!stageVector(rest)) return false;
  }
  return true;
}

void Ideal::receive(std::size_t port, std::span<const std::uint8_t> frame) {
  stage(frame);
  if (leaveAllReceived_) {
    auto at = staged_.begin();
    walk(port, [&](IdealRecord& record) {
      while (at != staged_.end() && at->key < record.key) ++at;
      const bool joined = at != staged_.end() && at->key == record.key && at->event < rLv;
      applicant(record, rLA, joined);
      registrar(record, rLA, record.value);
    });
    flush(port);
  }
  for (const Staged& staged : staged_) {
    IdealRecord& record = recordIs(port, static_cast<std::uint16_t>(staged.key));
    applicant(record, staged.event, record.registrar == IN);
    registrar(record, staged.event, {staged.value.data(), staged.valueSize});
    if (record.registrar == MT && record.applicant == VO) erase(port, record.key);
  }
  flush(port);
}

void Ideal::receiveOnAll(std::span<const std::uint8_t> frame) {
  for (std::size_t port = 0; port < ports_.size(); ++port) receive(port, frame);
}

void Ideal::join(std::size_t port, std::uint16_t vlan) {
  IdealRecord& record = recordIs(port, vlan);
  record.valueSize = kVlanSize;
  put16(record.value.data(), vlan);
  applicant(record, joinRequest, record.registrar == IN);
}

void Ideal::leaveAll() {
  for (std::size_t port = 0; port < ports_.size(); ++port) {
    leaveAllToSend_ = true;
    walk(port, [&](IdealRecord& record) {
      applicant(record, txLA, record.registrar == IN);
      registrar(record, txLA, record.value);
    });
    flush(port);
  }
}

}  // namespace Bench

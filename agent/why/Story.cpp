#include "agent/why/Story.h"

#include <algorithm>

#include "mrp/types/MrpAttrDatabase.h"
#include "mrp/types/MrpStatus.h"
#include "platform/packet/PamDirs.h"

namespace Mrp::Why {
namespace {

using namespace Accounts;
using Reason = MrpObserver::Reason;

MrpRegistrarState registrarOf(const MrpAttrDatabase* record) {
  return record ? record->registrarState() : MrpRegistrarState::mt;
}

bool lost(const Record& r) {
  return r.kind == Kind::registrar &&
         static_cast<MrpRegistrarState>(r.to()) == MrpRegistrarState::mt;
}
bool taken(const Record& r) {
  return r.kind == Kind::registrar && r.from() != r.to() &&
         static_cast<MrpRegistrarState>(r.to()) == MrpRegistrarState::in;
}
bool doubted(const Record& r) {
  return r.kind == Kind::registrar &&
         static_cast<MrpRegistrarState>(r.to()) == MrpRegistrarState::lv;
}

// What put a registration in doubt, but for a withdrawal: the end of a cause's word.
std::string after(const Record& doubt) {
  switch (static_cast<MrpRegistrarEvent>(doubt.event)) {
    case MrpRegistrarEvent::regLvAll_:
      return "-after-received-leave-all";
    case MrpRegistrarEvent::txLvAll:
      return "-after-own-leave-all";
    case MrpRegistrarEvent::reDeclare:
      return "-after-role-change";
    default:
      return {};
  }
}
bool withdrew(const Record& doubt) {
  return static_cast<MrpRegistrarEvent>(doubt.event) == MrpRegistrarEvent::rLv;
}

}  // namespace

const MrpAttrDatabase* Story::stands() const {
  const MrpIntfTypeApplicant* types =
      sources_.engine.database().typeApplicant(attribute_.intfId, attribute_.attributeType);
  return types ? types->visible(attribute_.attributeKey) : nullptr;
}

bool Story::known() const {
  return stands() || administered() != Registration::normal ||
         sources_.account.newest(attribute_, sources_.account.last() + 1,
                                 [](const Record&) { return true; });
}

Registration Story::administered() const {
  if (!sources_.registration) return Registration::normal;
  return sources_.registration(attribute_.intfId,
                               static_cast<std::uint16_t>(attribute_.attributeKey));
}

const Record* Story::lastOfRegistrar() const {
  return sources_.account.newest(attribute_, sources_.account.last() + 1, [](const Record& r) {
    return r.kind == Kind::registrar || r.kind == Kind::discard ||
           (r.kind == Kind::request && (r.event == static_cast<std::uint8_t>(Verb::remove) ||
                                        r.event == static_cast<std::uint8_t>(Verb::forbidden)));
  });
}

// What ended all that was registered on the port.
const Record* Story::portRecord() const {
  return reader_.newest([this](const Record& r) {
    return r.kind == Kind::port && r.port == attribute_.intfId.value() &&
           (r.event == static_cast<std::uint8_t>(PortChange::closed) ||
            r.event == static_cast<std::uint8_t>(PortChange::disabled) ||
            r.event == static_cast<std::uint8_t>(PortChange::removed));
  });
}

Answer Story::registration() const {
  Answer answer{.about = "registration", .subject = noun_.subject, .port = attribute_.intfId};
  answer.known = true;
  const MrpAttrDatabase* record = stands();
  switch (registrarOf(record)) {
    case MrpRegistrarState::in:
      whyRegistered(answer);
      break;
    case MrpRegistrarState::lv:
      whyLeaving(answer, *record);
      break;
    case MrpRegistrarState::mt:
      whyNot(answer);
      break;
  }
  return answer;
}

void Story::nextLeaveAll(Answer& answer) const {
  const auto due = sources_.engine.leaveAllDue({attribute_.intfId, attribute_.attributeType});
  if (due)
    answer.next.push_back({*due, "a LeaveAll of our own asks every neighbour to declare again"});
}

void Story::whyRegistered(Answer& answer) const {
  const MrpAttrDatabase& record = *stands();
  answer.state = noun_.name + " is registered" + on() + ".";
  answer.cause = "joined";
  const Record* in = sources_.account.newest(attribute_, sources_.account.last() + 1, taken);
  if (!record.committed()) {
    // A review comes within a second or so; later than that something holds it up.
    constexpr Seconds kReview{2.0};
    if (in && sources_.account.clock().now() - in->at() > kReview) {
      answer.state = noun_.name + " is registered" + on() + ", but not yet published.";
      answer.cause = "not-committed";
    }
    answer.next.push_back(
        {Seconds::never(), "published at the next review that the attribute log has room for"});
  }
  const Record* restored =
      sources_.account.newest(attribute_, sources_.account.last() + 1, [](const Record& r) {
        return r.kind == Kind::request && r.event == static_cast<std::uint8_t>(Verb::restored);
      });
  if (in) {
    tell(sources_, in->number, answer);
    before(answer);
  } else if (restored) {
    tell(sources_, restored->number, answer);
    if (answer.cause == "joined") answer.cause = "restored";
  } else {
    answer.ending = Reader::Ending::overwritten;
    if (answer.cause == "joined") answer.cause = "before-the-account";
  }
  nextLeaveAll(answer);
}

// The registration that this goes back to.
void Story::before(Answer& answer) const {
  if (answer.because.empty()) return;
  const Number first = answer.because.back().record;
  const Record* doubt = sources_.account.newest(
      attribute_, first, [](const Record& r) { return doubted(r) || taken(r) || lost(r); });
  if (doubt && doubted(*doubt)) answer.because.push_back(stepOf(sources_, *doubt));
  const Record* in = sources_.account.newest(attribute_, first, [](const Record& r) {
    return taken(r) && static_cast<MrpRegistrarState>(r.from()) == MrpRegistrarState::mt;
  });
  const Record* out = sources_.account.newest(attribute_, first, lost);
  if (in && (!out || out->number < in->number)) answer.because.push_back(stepOf(sources_, *in));
}

void Story::whyLeaving(Answer& answer, const MrpAttrDatabase& record) const {
  Seconds due = Seconds::never();
  const Record* doubt = nullptr;
  // The leave timer that ends first.
  sources_.account.newest(attribute_, sources_.account.last() + 1, [&](const Record& r) {
    if (!doubted(r)) return r.kind == Kind::registrar;
    if (r.detail != 0 && r.due() < due) {
      due = r.due();
      doubt = &r;
    }
    return r.from() != r.to();
  });
  answer.cause = "leaving";
  if (doubt) {
    answer.cause += withdrew(*doubt) ? "-withdrawn-by-neighbour" : after(*doubt);
    tell(sources_, doubt->number, answer);
    before(answer);
  } else {
    answer.ending = Reader::Ending::overwritten;
  }
  answer.state = noun_.name + " is still registered" + on() + ", and about to leave.";
  const bool runs = record.leaveSm().armed() || record.explicitLeaveSm().armed();
  if (!doubt && !runs) {
    answer.next.push_back({Seconds::never(), "stays until the next leave event starts a timer"});
  } else {
    answer.next.push_back({due, "leaves unless a Join comes"});
  }
}

// A frame that the port received and could not read to its end.
const Record* Story::malformed(Seconds from, Seconds to) const {
  return reader_.newest([&](const Record& r) {
    return r.kind == Kind::discard && r.port == attribute_.intfId.value() &&
           r.event == static_cast<std::uint8_t>(Reason::malformed) && r.at() >= from &&
           r.at() <= to;
  });
}

void Story::agedOut(Answer& answer, const Record& ended) const {
  answer.cause = "aged-out";
  const Reader::Chain chain = reader_.causes(ended.number);
  const auto doubt = std::ranges::find_if(chain.records, doubted);
  if (doubt == chain.records.end()) return;
  if (withdrew(*doubt)) {
    answer.cause = "withdrawn-by-neighbour";
    return;
  }
  answer.cause += after(*doubt);
  if (const Record* cut = malformed(doubt->at(), ended.at())) {
    answer.cause = "malformed";
    answer.because.insert(answer.because.begin() + 1, stepOf(sources_, *cut));
    answer.because[1].text += "; the Join may have stood there";
  }
}

void Story::whyNot(Answer& answer) const {
  answer.state = noun_.name + " is not registered" + on() + ".";
  const Registration administered = this->administered();
  const Record* last = lastOfRegistrar();
  const Record* port = portRecord();
  const bool open = sources_.engine.endpoints().pam(attribute_.intfId);
  if (administered == Registration::forbidden) {
    answer.cause = "forbidden";
    answer.state = noun_.name + " is forbidden" + on() + ", and not registered.";
    const auto forbids = [](const Record& r) {
      return r.kind == Kind::request && r.event == static_cast<std::uint8_t>(Verb::forbidden);
    };
    const Record* said = sources_.account.newest(attribute_, sources_.account.last() + 1, forbids);
    if (!said) {  // of all on the port
      said = sources_.account.newest({attribute_.intfId, attribute_.attributeType, 0},
                                     sources_.account.last() + 1, forbids);
    }
    if (last) tell(sources_, last->number, answer);
    const bool told = said && std::ranges::find(answer.because, said->number, &Step::record) !=
                                  answer.because.end();
    if (said && !told) {
      answer.because.push_back(stepOf(sources_, *said));
      answer.ending = Reader::Ending::firstCause;
    }
    answer.next.push_back({Seconds::never(), "not registered before it is allowed there"});
    return;
  }
  if (port && (!last || port->number > last->number) && !open) {
    answer.cause = "port-closed";
    tell(sources_, port->number, answer);
    before(answer);
    answer.next.push_back({Seconds::never(), "nothing is registered before the port is up again"});
    return;
  }
  if (port && last && port->number > last->number && taken(*last)) {
    answer.cause = "port-closed";
    tell(sources_, port->number, answer);
    before(answer);
  } else if (!last) {
    const Record* cut = malformed(Seconds(), Seconds::never());
    answer.cause = cut ? "malformed" : open ? "never-declared" : "port-closed";
    if (!cut && open) {
      answer.state = noun_.name + " is not registered" + on() + ": no neighbour has declared it.";
    }
    if (cut) {
      tell(sources_, cut->number, answer);
      answer.because.front().text += "; the Join may have stood there";
    } else {
      for (std::string& line : lookedAt(sources_, attribute_.intfId)) {
        answer.lookedAt.push_back(std::move(line));
      }
    }
  } else {
    tell(sources_, last->number, answer);
    if (last->kind == Kind::request) {
      answer.cause = last->event == static_cast<std::uint8_t>(Verb::remove) ? "dropped-by-request"
                                                                            : "forbidden";
    } else if (last->kind == Kind::discard) {
      switch (static_cast<Reason>(last->event)) {
        case Reason::joinDiscarded:
          answer.cause = "refused-by-application";
          break;
        case Reason::attributeLimit:
          answer.cause = "refused-by-limit";
          break;
        case Reason::outOfMemory:
          answer.cause = "out-of-memory";
          break;
        case Reason::portClosed:
          answer.cause = "port-closed";
          break;
        default:
          answer.cause = "not-acted-on";
      }
    } else if (lost(*last)) {
      if (static_cast<MrpRegistrarEvent>(last->event) == MrpRegistrarEvent::flush) {
        answer.cause = "flushed";
      } else {
        agedOut(answer, *last);
      }
      before(answer);
    } else {
      // The account's last word is that it was registered: what ended that was not told.
      answer.cause = "dropped";
    }
  }
  answer.next.push_back({Seconds::never(), "registered as soon as a Join for it is received"});
}

Answer Story::declaration() const {
  Answer answer{.about = "declaration", .subject = noun_.subject, .port = attribute_.intfId};
  const MrpAttrDatabase* record = stands();
  const bool declared = record && declares(record->applicantState());
  const Record* last =
      sources_.account.newest(attribute_, sources_.account.last() + 1, [](const Record& r) {
        return r.kind == Kind::applicant && declares(static_cast<MrpApplicantState>(r.from())) !=
                                                declares(static_cast<MrpApplicantState>(r.to()));
      });
  answer.known = declared || last;
  answer.state = noun_.name + (declared ? " is declared" : " is not declared") + on() + ".";
  if (!last) {
    answer.cause = declared ? "before-the-account" : "never-requested";
    if (declared) answer.ending = Reader::Ending::overwritten;
    return answer;
  }
  tell(sources_, last->number, answer);
  answer.cause = "requested";
  for (const Record& r : reader_.causes(last->number).records) {
    if (r.kind == Kind::contribution) answer.cause = "passed-on";
    if (r.kind == Kind::role) answer.cause = "role-change";
    if (r.kind == Kind::port && answer.cause == "requested") answer.cause = "port-changed";
    if (r.kind == Kind::contribution || r.kind == Kind::role) break;
  }
  return answer;
}

Answer Story::nothing() const {
  Answer answer{.about = "registration", .subject = noun_.subject, .port = attribute_.intfId};
  answer.state = "Nothing is known of " + noun_.subject +
                 (attribute_.intfId.empty() ? std::string(" on any port.") : on() + ".");
  answer.cause = "nothing-known";
  if (!attribute_.intfId.empty()) {
    answer.lookedAt = lookedAt(sources_, attribute_.intfId);
  } else {
    for (const IntfId intf : sources_.ports) {
      for (std::string& line : lookedAt(sources_, intf)) answer.lookedAt.push_back(std::move(line));
    }
  }
  return answer;
}

std::vector<std::string> lookedAt(const Sources& sources, IntfId intf) {
  const Account& account = sources.account;
  if (std::ranges::find(sources.ports, intf) == sources.ports.end()) {
    return {"there is no port " + intf.name()};
  }
  std::uint64_t received = 0;
  std::uint64_t faults = 0;
  Seconds last;
  Reader(account).walk([&](const Record& r) {
    if (r.port != intf.value()) return;
    if (r.kind == Kind::frameReceived) {
      ++received;
      last = r.at();
    }
    faults += r.kind == Kind::discard;
  });
  std::string line = intf.name() + ": " +
                     (sources.engine.endpoints().pam(intf) ? "up" : "down or disabled") + ", " +
                     std::to_string(received) + " frames received";
  if (received > 0) line += ", the last at " + sources.clockText(last);
  if (faults > 0) line += ", " + std::to_string(faults) + " refused in whole or in part";
  std::vector<std::string> lines{line};
  if (account.size() == 0) {
    lines.emplace_back("no account is kept");
  } else {
    lines.push_back("the account holds " + std::to_string(account.size()) + " records since " +
                    sources.clockText(account.record(account.first())->at()));
  }
  return lines;
}

}  // namespace Mrp::Why

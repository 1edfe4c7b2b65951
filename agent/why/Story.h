#pragma once

#include <string>

#include "agent/why/Answer.h"

namespace Mrp::Why {

// What a registration and a declaration are called, where it is told of them.
struct Noun {
  std::string subject;  // "VLAN 100"
  std::string name;  // of the attribute in running text: "VLAN 100", "Talker Advertise of stream …"
  std::string plural;  // "VLANs"
};

// Tells of one attribute on one port from the account and the engine.
class Story {
 public:
  Story(const Sources& sources, MrpAttribute attribute, Noun noun)
      : sources_(sources),
        reader_(sources.account),
        attribute_(attribute),
        noun_(std::move(noun)) {}

  // Whether the engine or the account knows anything of it.
  bool known() const;
  Answer registration() const;
  Answer declaration() const;
  // Nothing is known: what was looked at.
  Answer nothing() const;

  // The steps of a record and its causes, newest first.
  static void tell(const Sources& sources, Accounts::Number number, Answer& answer);
  static Step stepOf(const Sources& sources, const Accounts::Record& record);

 private:
  using Record = Accounts::Record;
  const MrpAttrDatabase* stands() const;
  // The record that decided that it is not registered, or null.
  const Record* lastOfRegistrar() const;
  const Record* portRecord() const;
  void whyRegistered(Answer& answer) const;
  void whyLeaving(Answer& answer, const MrpAttrDatabase& record) const;
  void whyNot(Answer& answer) const;
  void agedOut(Answer& answer, const Record& ended) const;
  void before(Answer& answer) const;
  const Record* malformed(Seconds from, Seconds to) const;
  void nextLeaveAll(Answer& answer) const;
  Registration administered() const;
  std::string on() const { return " on " + attribute_.intfId.name(); }

  const Sources& sources_;
  Accounts::Reader reader_;
  MrpAttribute attribute_;
  Noun noun_;
};

// What was looked at on a port, in lines.
std::vector<std::string> lookedAt(const Sources& sources, IntfId intf);

}  // namespace Mrp::Why

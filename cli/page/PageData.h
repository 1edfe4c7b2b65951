#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/replay/Application.h"
#include "mrp/MrpSm/MrpObserver.h"
#include "platform/time/Seconds.h"

namespace Cli {

// What happened in a run, as the page reads it: one table of facts in the order in which they
// happened, in columns, beside what the facts refer to. cli/page/model.js is the reader.
class PageData {
 public:
  // What the columns of a fact mean depends on its kind:
  //   kind                  where  what
  //   received, sent        port   number of the frame's text
  //   leaveAllReceived, -Sent  port  type of the attributes
  //   applicant, registrar  row    from, event and to, four bits each from the lowest
  //   discard               row    MrpObserver::Reason; of a whole frame or vector, port
  //   armed, stopped, fired row    MrpObserver::TimerKind; a port's LeaveAll period, port
  //   added, deleted        row    -
  //   note                  any    number of a text
  enum class Kind : std::uint8_t {
    received,
    sent,
    applicant,
    registrar,
    discard,
    armed,
    stopped,
    fired,
    added,
    deleted,
    note,
    leaveAllReceived,
    leaveAllSent,
    nothing,
  };

  // A port or a row, or none of them.
  struct Place {
    static constexpr Place nowhere() { return {std::numeric_limits<std::int32_t>::min()}; }
    static constexpr Place port(std::size_t number) {
      return {-1 - static_cast<std::int32_t>(number)};
    }
    static constexpr Place row(std::size_t number) { return {static_cast<std::int32_t>(number)}; }
    std::int32_t number = 0;  // ports count down from -1, rows up from 0
  };
  using Id = std::uint32_t;  // of a fact

  PageData(Mrp::MrpApplication application, std::vector<std::string> ports);

  Mrp::MrpApplication application() const { return application_; }

  Place port(Platform::IntfId intf);
  // The attribute's row, which is made when there is none.
  Place row(const Mrp::MrpAttribute& attribute);
  bool has(const Mrp::MrpAttribute& attribute) const { return rowNumbers_.contains(attribute); }
  // The same, but the port when there is no such row, and nowhere without a port.
  Place nearest(const Mrp::MrpAttribute& attribute);
  // Where the states of a row stand at the beginning; otherwise it begins with its first fact.
  void initially(const Mrp::MrpAttribute& attribute, unsigned applicant, unsigned registrar);
  // The value of every row of that type and key, as a person reads it.
  void valueIs(std::uint8_t type, std::uint64_t key, OctetSpan image);

  // Equal frames share their text.
  std::uint32_t frameText(OctetSpan frame);
  // Of one whose octets are not known.
  std::uint32_t frameText(std::string_view source, std::size_t octets);
  std::uint32_t text(std::string_view text);

  Id add(Platform::Seconds time, Kind kind, Place where, std::uint32_t what,
         std::optional<Id> cause);
  // Of a timer that is armed, or of a transition of a Registrar that arms one.
  void dueIs(Id armed, Platform::Seconds due);

  // How much of it somebody has.
  struct Mark {
    std::size_t ports = 0, rows = 0, frames = 0, texts = 0, facts = 0;
  };
  Mark mark() const;
  std::size_t facts() const { return time_.size(); }

  // One JSON object, which holds no "<" and so may stand in a page: all of it, or what came since a
  // mark was taken.
  std::string json(std::string_view title, Platform::Seconds end) const {
    return json(title, end, {});
  }
  std::string json(std::string_view title, Platform::Seconds end, const Mark& since) const;

 private:
  void appendRows(std::string& out, std::size_t first) const;
  void appendFacts(std::string& out, std::size_t first) const;
  std::uint32_t frameTextOf(const std::string& octets, const std::string& json);

  struct Row {
    Mrp::MrpAttribute attribute;
    int applicant = -1;
    int registrar = -1;
  };

  Mrp::MrpApplication application_;
  std::vector<std::string> ports_;
  std::map<std::uint64_t, std::size_t> portNumbers_;  // by IntfId::value()
  std::vector<Row> rows_;
  std::map<Mrp::MrpAttribute, std::size_t> rowNumbers_;
  std::map<std::pair<std::uint8_t, std::uint64_t>, std::string> values_;
  std::vector<std::string> texts_;
  std::map<std::string, std::uint32_t, std::less<>> textNumbers_;
  std::vector<std::string> frames_;  // JSON of each
  std::map<std::string, std::uint32_t, std::less<>> frameNumbers_;

  std::vector<std::int64_t> time_;
  std::vector<std::int64_t> kind_;
  std::vector<std::int64_t> where_;
  std::vector<std::int64_t> what_;
  std::vector<std::int64_t> cause_;  // how many facts before, 0 for none
  std::map<Id, std::int64_t> due_;   // nanoseconds from when it was armed
};

}  // namespace Cli

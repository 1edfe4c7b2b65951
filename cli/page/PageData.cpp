#include "cli/page/PageData.h"

#include <array>
#include <charconv>
#include <nlohmann/json.hpp>

#include "cli/replay/MrpduText.h"
#include "cli/replay/ValueText.h"
#include "mrp/types/MrpEnums.h"
#include "platform/packet/EthFrame.h"

namespace Cli {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kFormat = 1;
constexpr std::size_t kLongestLine = 4000;

// Valid JSON that cannot end a script element.
std::string jsonOf(const Json& json) {
  std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  for (std::size_t at = 0; (at = text.find('<', at)) != std::string::npos;) {
    text.replace(at, 1, "\\u003c");
  }
  return text;
}

void appendNumber(std::string& out, std::int64_t number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  out.append(digits.data(), end);
}

void appendColumn(std::string& out, std::string_view name, std::span<const std::int64_t> column) {
  out += '"';
  out += name;
  out += "\":[";
  for (const std::int64_t number : column) {
    appendNumber(out, number);
    out += ',';
  }
  if (!column.empty()) out.pop_back();
  out += ']';
}

// The names of an enumeration up to and without its `end`th.
template <class E>
Json names(unsigned end) {
  Json list = Json::array();
  for (unsigned n = 0; n < end; ++n) list.push_back(stringValue(static_cast<E>(n)));
  return list;
}

// A vector of thousands of equal events in a line: "JoinIn x 4094".
std::string shortened(const std::string& line) {
  constexpr std::size_t kRun = 4;
  std::string out;
  std::size_t at = 0;
  while (at < line.size()) {
    const std::size_t end = std::min(line.find(' ', at), line.size());
    const std::string_view word(line.data() + at, end - at);
    std::size_t count = 1;
    std::size_t next = end;
    while (next < line.size() && line.compare(next + 1, word.size(), word) == 0 &&
           (next + 1 + word.size() == line.size() || line[next + 1 + word.size()] == ' ')) {
      next += 1 + word.size();
      ++count;
    }
    if (count < kRun) {
      count = 1;
      next = end;
    }
    if (!out.empty()) out += ' ';
    out += word;
    if (count > 1) out += " \u00d7" + std::to_string(count);
    at = next + 1;
  }
  if (out.size() > kLongestLine) out = out.substr(0, out.rfind(' ', kLongestLine)) + " …";
  return out;
}

std::string keyText(Mrp::MrpApplication application, const Mrp::MrpAttribute& attribute) {
  const Mrp::AttributeTypeInfo* info = infoOf(application).type(attribute.attributeType);
  return info && info->keys == Mrp::AttributeKeys::sparse ? streamText(attribute.attributeKey)
                                                          : std::to_string(attribute.attributeKey);
}

}  // namespace

PageData::PageData(Mrp::MrpApplication application, std::vector<std::string> ports)
    : application_(application), ports_(std::move(ports)) {
  for (std::size_t n = 0; n < ports_.size(); ++n) {
    portNumbers_.emplace(Platform::IntfId(ports_[n]).value(), n);
  }
}

PageData::Place PageData::port(Platform::IntfId intf) {
  const auto [at, isNew] = portNumbers_.try_emplace(intf.value(), ports_.size());
  if (isNew) ports_.push_back(intf.name());
  return Place::port(at->second);
}

PageData::Place PageData::row(const Mrp::MrpAttribute& attribute) {
  const auto [at, isNew] = rowNumbers_.try_emplace(attribute, rows_.size());
  if (isNew) {
    rows_.push_back({attribute});
    port(attribute.intfId);
  }
  return Place::row(at->second);
}

PageData::Place PageData::nearest(const Mrp::MrpAttribute& attribute) {
  const auto found = rowNumbers_.find(attribute);
  if (found != rowNumbers_.end()) return Place::row(found->second);
  return attribute.intfId.empty() ? Place::nowhere() : port(attribute.intfId);
}

void PageData::initially(const Mrp::MrpAttribute& attribute, unsigned applicant,
                         unsigned registrar) {
  Row& of = rows_[static_cast<std::size_t>(row(attribute).number)];
  of.applicant = static_cast<int>(applicant);
  of.registrar = static_cast<int>(registrar);
}

void PageData::valueIs(std::uint8_t type, std::uint64_t key, OctetSpan image) {
  // That of a VLAN says no more than its key.
  if (application_ == Mrp::MrpApplication::mvrp) return;
  values_[{type, key}] = valueText(application_, type, image);
}

std::uint32_t PageData::frameText(OctetSpan frame) {
  const std::string octets(frame.begin(), frame.end());
  const auto found = frameNumbers_.find(octets);
  if (found != frameNumbers_.end()) return found->second;
  constexpr std::size_t kSource = 6;
  constexpr std::size_t kSourceEnd = 12;
  std::string source;
  if (frame.size() >= kSourceEnd) {
    source =
        Platform::EthAddr::fromNumber(numberAt(frame, kSource, kSourceEnd - kSource)).stringValue();
  }
  const auto application = applicationOf(frame);
  Json lines = Json::array();
  for (const std::string& line : mrpduText(frame)) lines.push_back(shortened(line));
  return frameTextOf(octets,
                     jsonOf({{"protocol", application ? infoOf(*application).title : "frame"},
                             {"octets", frame.size()},
                             {"source", source},
                             {"lines", std::move(lines)}}));
}

std::uint32_t PageData::frameText(std::string_view source, std::size_t octets) {
  return frameTextOf(std::string(source) + '/' + std::to_string(octets),
                     jsonOf({{"protocol", infoOf(application_).title},
                             {"octets", octets},
                             {"source", source},
                             {"lines", Json::array()}}));
}

std::uint32_t PageData::frameTextOf(const std::string& octets, const std::string& json) {
  const auto next = static_cast<std::uint32_t>(frames_.size());
  const auto [at, isNew] = frameNumbers_.try_emplace(octets, next);
  if (isNew) frames_.push_back(json);
  return at->second;
}

PageData::Mark PageData::mark() const {
  return {ports_.size(), rows_.size(), frames_.size(), texts_.size(), time_.size()};
}

std::uint32_t PageData::text(std::string_view text) {
  const auto found = textNumbers_.find(text);
  if (found != textNumbers_.end()) return found->second;
  const auto next = static_cast<std::uint32_t>(texts_.size());
  texts_.emplace_back(text);
  textNumbers_.emplace(text, next);
  return next;
}

PageData::Id PageData::add(Platform::Seconds time, Kind kind, Place where, std::uint32_t what,
                           std::optional<Id> cause) {
  const auto id = static_cast<Id>(time_.size());
  time_.push_back(time.nanoseconds());
  kind_.push_back(static_cast<std::int64_t>(kind));
  where_.push_back(where.number);
  what_.push_back(what);
  cause_.push_back(cause && *cause < id ? id - *cause : 0);
  return id;
}

void PageData::dueIs(Id armed, Platform::Seconds due) {
  due_[armed] = due.nanoseconds() - time_[armed];
}

// Ports and texts are few and come whole: the reader knows how many it has.
std::string PageData::json(std::string_view title, Platform::Seconds end, const Mark& since) const {
  const ApplicationInfo& info = infoOf(application_);
  Json types = Json::array();
  for (const Mrp::AttributeTypeInfo& type : info.types) types.push_back(type.name);
  Json head = {{"format", kFormat},
               {"title", title},
               {"application", info.title},
               {"end", end.nanoseconds()},
               {"types", std::move(types)},
               {"names",
                {{"applicant", names<Mrp::MrpApplicantState>(12)},
                 {"registrar", names<Mrp::MrpRegistrarState>(3)},
                 {"applicantEvent", names<Mrp::MrpApplicantEvent>(14)},
                 {"registrarEvent", names<Mrp::MrpRegistrarEvent>(10)},
                 {"reason", names<Mrp::MrpObserver::Reason>(15)}}},
               {"ports", ports_},
               {"texts", texts_}};
  std::string out = jsonOf(head);
  out.pop_back();
  appendRows(out, since.rows);
  out += ",\"frames\":[";
  for (std::size_t n = since.frames; n < frames_.size(); ++n) {
    out += frames_[n];
    out += ',';
  }
  if (out.back() == ',') out.pop_back();
  out += ']';
  appendFacts(out, since.facts);
  return out + '}';
}

void PageData::appendRows(std::string& out, std::size_t first) const {
  std::vector<std::int64_t> port;
  std::vector<std::int64_t> type;
  std::vector<std::int64_t> applicant;
  std::vector<std::int64_t> registrar;
  Json key = Json::array();
  Json name = Json::array();
  Json value = Json::array();
  for (std::size_t n = first; n < rows_.size(); ++n) {
    const Mrp::MrpAttribute& attribute = rows_[n].attribute;
    port.push_back(static_cast<std::int64_t>(portNumbers_.at(attribute.intfId.value())));
    type.push_back(attribute.attributeType);
    applicant.push_back(rows_[n].applicant);
    registrar.push_back(rows_[n].registrar);
    key.push_back(std::to_string(attribute.attributeKey));
    name.push_back(keyText(application_, attribute));
    const auto found = values_.find({attribute.attributeType, attribute.attributeKey});
    value.push_back(found == values_.end() ? std::string() : found->second);
  }
  out += ",\"rows\":{";
  appendColumn(out, "port", port);
  out += ',';
  appendColumn(out, "type", type);
  out += ',';
  appendColumn(out, "applicant", applicant);
  out += ',';
  appendColumn(out, "registrar", registrar);
  out +=
      ",\"key\":" + jsonOf(key) + ",\"name\":" + jsonOf(name) + ",\"value\":" + jsonOf(value) + '}';
}

// Numbers of facts count from the first one that is told.
void PageData::appendFacts(std::string& out, std::size_t first) const {
  const auto column = [&](std::string_view name, const std::vector<std::int64_t>& all) {
    appendColumn(out, name, std::span(all).subspan(first));
    out += ',';
  };
  std::vector<std::int64_t> times;
  times.reserve(time_.size() - first);
  for (std::size_t n = first; n < time_.size(); ++n)
    times.push_back(time_[n] - (n ? time_[n - 1] : 0));
  std::vector<std::int64_t> armed;
  std::vector<std::int64_t> due;
  for (auto at = due_.lower_bound(static_cast<Id>(first)); at != due_.end(); ++at) {
    armed.push_back(at->first - static_cast<std::int64_t>(first));
    due.push_back(at->second);
  }
  out += ",\"facts\":{";
  column("kind", kind_);
  column("where", where_);
  column("what", what_);
  column("cause", cause_);
  appendColumn(out, "time", times);
  out += "},\"due\":{";
  appendColumn(out, "fact", armed);
  out += ',';
  appendColumn(out, "after", due);
  out += '}';
}

}  // namespace Cli

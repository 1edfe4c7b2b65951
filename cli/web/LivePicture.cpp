#include "cli/web/LivePicture.h"

#include <charconv>
#include <vector>

#include "cli/replay/ValueFields.h"

namespace Cli {

using Mrp::Accounts::Kind;
using Platform::IntfId;
using Platform::Seconds;
using Rpc::Json;

namespace {

constexpr std::size_t kLately = 64;
constexpr std::size_t kMostFrames = 20000;

Seconds timeOf(const Json& json, const char* member) {
  const auto at = json.find(member);
  return at != json.end() && at->is_number() ? Seconds(at->get<double>()) : Seconds();
}

std::uint64_t numberOf(const Json& json, const char* member) {
  const auto at = json.find(member);
  if (at == json.end()) return 0;
  if (at->is_number_unsigned()) return at->get<std::uint64_t>();
  if (at->is_number_integer()) return static_cast<std::uint64_t>(at->get<std::int64_t>());
  if (!at->is_string()) return 0;
  const auto& text = at->get_ref<const std::string&>();
  std::uint64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::string textOf(const Json& json, const char* member) {
  const auto at = json.find(member);
  return at != json.end() && at->is_string() ? at->get<std::string>() : std::string();
}

Kind kindOf(const std::string& name) {
  for (auto kind = Kind::none; kind <= Kind::recovery;
       kind = static_cast<Kind>(static_cast<unsigned>(kind) + 1)) {
    if (name == stringValue(kind)) return kind;
  }
  return Kind::none;  // of a later agent
}

Octets octetsOf(const std::string& hex) {
  Octets octets;
  for (std::size_t n = 0; n + 1 < hex.size(); n += 2) {
    std::uint8_t octet = 0;
    std::from_chars(hex.data() + n, hex.data() + n + 2, octet, 16);
    octets.push_back(octet);
  }
  return octets;
}

}  // namespace

LivePicture::LivePicture(Mrp::MrpApplication application)
    : application_(application), data_(application, {}), facts_(data_, *this) {}

const LivePicture::Record* LivePicture::record(Number number) const {
  for (const Record& record : lately_) {
    if (record.number == number) return &record;
  }
  return nullptr;
}

IntfId LivePicture::portNumbered(std::uint64_t number) const {
  const auto found = ports_.find(number);
  return found == ports_.end() ? IntfId() : found->second;
}

void LivePicture::begin() {
  data_ = PageData(application_, {});
  told_ = {};
  lately_.clear();
  ports_.clear();
  frames_.clear();
  states_.clear();
  begun_ = false;
  next_ = base_ = 0;
  nextFrame_ = 0;
}

bool LivePicture::update(const Call& call) {
  const bool anew = data_.facts() > kMostFacts;
  if (anew) begin();
  const std::optional<std::vector<Record>> records = recordsFrom(call);
  records ? updateFromAccount(call, *records) : updateFromAttributes(call);
  return !anew;
}

// --- From the account ----------------------------------------------------------------------------

std::optional<std::vector<LivePicture::Record>> LivePicture::recordsFrom(const Call& call) {
  std::vector<Record> records;
  try {
    for (Json from = next_; !from.is_null();) {
      const Json answer =
          call("account", {{"application", infoOf(application_).name}, {"from", from}});
      if (numberOf(answer, "capacity") == 0) return std::nullopt;
      for (const Json& json : answer.at("records")) records.push_back(recordOf(json));
      from = answer.value("next", Json());
    }
  } catch (const Rpc::Error& error) {
    if (error.code() != Rpc::Code::kMethodNotFound) throw;
    return std::nullopt;
  }
  return records;
}

void LivePicture::updateFromAccount(const Call& call, const std::vector<Record>& records) {
  const bool first = !begun_;
  // Afterwards, so that those of all records are among them.
  framesFrom(call);
  for (const Record& record : records) take(record);
  if (!first) return;
  begun_ = true;
  // What has been as it is for longer than the account reaches back.
  for (const auto& [attribute, now] : states(call)) {
    if (!data_.has(attribute)) data_.initially(attribute, now.first, now.second);
  }
}

LivePicture::States LivePicture::states(const Call& call) {
  States states;
  for (const Json& json : call("attributes", {{"application", infoOf(application_).name}})) {
    const Mrp::MrpAttribute attribute{IntfId(textOf(json, "port")),
                                      static_cast<std::uint8_t>(numberOf(json, "type")),
                                      numberOf(json, "key")};
    const auto applicant = Mrp::mrpApplicantState(textOf(json, "applicant"));
    const auto registrar = Mrp::mrpRegistrarState(textOf(json, "registrar"));
    if (!applicant || !registrar) continue;
    data_.valueIs(attribute.attributeType, attribute.attributeKey, octetsOf(textOf(json, "value")));
    states[attribute] = {static_cast<unsigned>(*applicant), static_cast<unsigned>(*registrar)};
  }
  return states;
}

LivePicture::Record LivePicture::recordOf(const Json& json) {
  Record record{};
  record.number = numberOf(json, "number");
  record.time = timeOf(json, "time").nanoseconds();
  record.key = numberOf(json, "key");
  record.detail = numberOf(json, "detail");
  record.kind = kindOf(textOf(json, "kind"));
  record.type = static_cast<std::uint8_t>(numberOf(json, "type"));
  record.event = static_cast<std::uint8_t>(numberOf(json, "event"));
  record.states = static_cast<std::uint8_t>(numberOf(json, "from") | numberOf(json, "to") << 4);
  const std::string port = textOf(json, "port");
  if (!port.empty()) {
    const IntfId intf(port);
    record.port = static_cast<std::uint32_t>(intf.value());
    ports_.emplace(intf.value(), intf);
  }
  // A port that another one passes on is known to the agent by a number of its own.
  if (record.kind == Kind::contribution) record.detail = 0;
  if (const Number cause = numberOf(json, "cause"); cause != 0 && cause < record.number) {
    record.back = static_cast<std::uint32_t>(record.number - cause);
  }
  return record;
}

void LivePicture::take(const Record& record) {
  if (base_ == 0) {
    base_ = record.number;
    first_ = record.at();
  }
  // Records that the agent's ring lost between two requests: places stay numbers.
  for (Number n = std::max(next_, base_); n < record.number; ++n) {
    data_.add(end_, PageData::Kind::nothing, PageData::Place::nowhere(), 0, std::nullopt);
  }
  next_ = record.number + 1;
  end_ = std::max(end_, record.at());
  lately_.push_back(record);
  if (lately_.size() > kLately) lately_.pop_front();
  addLast();
}

void LivePicture::addLast() {
  const Record& record = lately_.back();
  facts_.addRow(record);
  std::optional<PageData::Id> cause;
  if (const Number number = record.cause(); number >= base_) {
    cause = static_cast<PageData::Id>(number - base_);
  }
  const bool isFrame = record.kind == Kind::frameReceived || record.kind == Kind::frameSent;
  facts_.add(record, isFrame ? frameText(record) : 0, cause);
}

// The octets of frames, from an agent that keeps them: by port, direction and time.
void LivePicture::framesFrom(const Call& call) {
  if (!hasFrames_) return;
  if (frames_.size() > kMostFrames) frames_.clear();
  try {
    while (true) {
      const Json answer = call("frames", {{"from", nextFrame_}});
      for (const Json& json : answer.at("frames")) {
        nextFrame_ = numberOf(json, "number") + 1;
        if (textOf(json, "application") != infoOf(application_).name) continue;
        const std::string place =
            textOf(json, "port") + (json.value("received", false) ? "<" : ">");
        frames_[{place, timeOf(json, "time").nanoseconds()}] =
            data_.frameText(octetsOf(textOf(json, "hex")));
      }
      const auto next = answer.find("next");
      if (next == answer.end() || next->is_null()) return;
    }
  } catch (const Rpc::Error& error) {
    if (error.code() != Rpc::Code::kMethodNotFound) throw;
    hasFrames_ = false;
  }
}

std::uint32_t LivePicture::frameText(const Record& record) {
  const std::string place =
      portNumbered(record.port).name() + (record.kind == Kind::frameReceived ? "<" : ">");
  const auto found = frames_.find({place, record.time});
  if (found != frames_.end()) return found->second;
  return data_.frameText(record.source().stringValue(), record.length());
}

// --- From the attributes, where no account is kept -----------------------------------------------

// States as they are found: what changed in between is not seen, and nothing says why.
void LivePicture::updateFromAttributes(const Call& call) {
  end_ = timeOf(call("status", Json::object()), "uptime");
  if (!begun_) first_ = end_;
  States found = states(call);
  constexpr auto kNoEvent = 15u << 4;
  for (const auto& [attribute, now] : found) {
    const auto before = states_.find(attribute);
    if (!begun_) {
      data_.initially(attribute, now.first, now.second);
      continue;
    }
    const bool isNew = before == states_.end();
    if (isNew || before->second.first != now.first) {
      data_.add(end_, PageData::Kind::applicant, data_.row(attribute),
                (isNew ? 0 : before->second.first) | kNoEvent | now.first << 8, std::nullopt);
    }
    if (isNew || before->second.second != now.second) {
      data_.add(end_, PageData::Kind::registrar, data_.row(attribute),
                (isNew ? 2 : before->second.second) | kNoEvent | now.second << 8, std::nullopt);
    }
  }
  for (const auto& [attribute, was] : states_) {
    if (found.contains(attribute)) continue;
    data_.add(end_, PageData::Kind::deleted, data_.row(attribute), 0, std::nullopt);
  }
  states_ = std::move(found);
  begun_ = true;
}

std::string LivePicture::whole(const std::string& title) const {
  std::string json = data_.json(title, end_);
  json.pop_back();
  return json + ",\"begin\":" + std::to_string(first_.nanoseconds()) + '}';
}

std::string LivePicture::takeNew() {
  const std::string json = data_.json({}, end_, told_);
  told_ = data_.mark();
  return json;
}

}  // namespace Cli

#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/rpc/Message.h"
#include "cli/page/PageData.h"
#include "cli/page/RecordFacts.h"

namespace Cli {

// The picture of one engine of an agent: what its account holds, and what is added to it. Begins
// anew when it has grown too large.
class LivePicture final : private RecordSource {
 public:
  using Call = std::function<Rpc::Json(const std::string& method, const Rpc::Json& params)>;
  static constexpr std::size_t kMostFacts = 300000;

  explicit LivePicture(Mrp::MrpApplication application);

  // Asks the agent for what is new. False when viewers have to begin anew.
  bool update(const Call& call);
  // All of it; what has been added since the last call of this.
  std::string whole(const std::string& title) const;
  std::string takeNew();
  bool hasNew() const { return data_.facts() > told_.facts || data_.mark().rows > told_.rows; }

 private:
  using Record = Mrp::Accounts::Record;
  using Number = Mrp::Accounts::Number;
  using States = std::map<Mrp::MrpAttribute, std::pair<unsigned, unsigned>>;

  const Record* record(Number number) const override;
  Platform::IntfId portNumbered(std::uint64_t number) const override;
  void begin();
  // All that it has had to tell since the last time; nothing of an agent that keeps none.
  std::optional<std::vector<Record>> recordsFrom(const Call& call);
  void updateFromAccount(const Call& call, const std::vector<Record>& records);
  void updateFromAttributes(const Call& call);
  // Notes its port too.
  Record recordOf(const Rpc::Json& json);
  void take(const Record& record);
  void addLast();
  void framesFrom(const Call& call);
  std::uint32_t frameText(const Record& record);
  // Applicant and Registrar of each attribute, as they are now; notes the values.
  States states(const Call& call);

  Mrp::MrpApplication application_;
  PageData data_;
  RecordFacts facts_;
  PageData::Mark told_;
  Platform::Seconds first_;
  Platform::Seconds end_;
  bool hasFrames_ = true;
  bool begun_ = false;
  Number next_ = 0;            // record
  Number base_ = 0;            // record of fact 0
  std::deque<Record> lately_;  // the last records that were told
  std::map<std::uint64_t, Platform::IntfId> ports_;
  std::uint64_t nextFrame_ = 0;
  std::map<std::pair<std::string, std::int64_t>, std::uint32_t> frames_;  // texts by place and time
  States states_;                                                         // without an account
};

}  // namespace Cli

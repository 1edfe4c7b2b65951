#pragma once

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "agent/account/Account.h"
#include "cli/page/PageData.h"
#include "cli/replay/Inputs.h"
#include "cli/replay/Output.h"

namespace Cli {

// Writes the page that shows a run. As an observer that comes after the account it takes over what
// the account records, so that nothing is lost to the size of its ring.
class HtmlOutput final : public Output, public Mrp::MrpObserver {
 public:
  // Records in which an account finds the causes of what comes.
  static constexpr std::size_t kRecords = std::size_t{1} << 19;

  // Throws BadInput when the file cannot be created.
  HtmlOutput(const std::string& path, const Inputs& inputs, std::string title);

  // That of the run; it outlives the end of the run.
  void accountIs(const Mrp::Accounts::Account& account) { account_ = &account; }

  void indication(Platform::Seconds time, const Indication& indication) override;
  // Throws BadInput when not everything could be written.
  void finished(Platform::Seconds time, const FinalState& state) override;

  void frame(const Frame& frame) override;
  void transition(const Transition&) override { take(); }
  void discard(const Discard&) override { take(); }
  void timer(const Timer&) override { take(); }
  void committed(const Commit&) override { take(); }

 private:
  using Record = Mrp::Accounts::Record;
  void take();
  void addFacts();

  std::string path_;
  std::string title_;
  std::ofstream file_;
  PageData data_;
  const Mrp::Accounts::Account* account_ = nullptr;
  std::vector<Record> records_;
  std::map<Mrp::Accounts::Number, std::uint32_t> frames_;  // the texts of frames
};

}  // namespace Cli

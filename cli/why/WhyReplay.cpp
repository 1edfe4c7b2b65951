#include "cli/why/WhyReplay.h"

#include <algorithm>
#include <charconv>

#include "agent/daemon/WhyJson.h"
#include "cli/BadInput.h"
#include "cli/replay/ReplaySession.h"

namespace Cli {
namespace {

// A replay has the memory for all that it did.
constexpr std::size_t kRecords = std::size_t{1} << 20;

std::optional<std::uint64_t> hexNumber(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::vector<Mrp::Why::Answer> ask(const Mrp::Why::Sources& sources, const Question& question) {
  const Platform::IntfId port =
      question.port.empty() ? Platform::IntfId() : Platform::IntfId(question.port);
  if (question.vlan) return whyVlan(sources, *question.vlan, port);
  if (question.stream) return whyStream(sources, *question.stream, port);
  return whyDomain(sources, question.srClass.value_or(0), port);
}

}  // namespace

std::optional<std::uint8_t> srClassFrom(const std::string& text) {
  if (text == "A" || text == "a") return static_cast<std::uint8_t>(Mrp::SrClass::a);
  if (text == "B" || text == "b") return static_cast<std::uint8_t>(Mrp::SrClass::b);
  std::uint8_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<std::uint64_t> streamFrom(const std::string& text) {
  constexpr std::size_t kDigits = 16;
  std::string digits = text.starts_with("0x") ? text.substr(2) : text;
  std::erase(digits, ':');
  if (digits.size() != kDigits) return std::nullopt;
  return hexNumber(digits);
}

Rpc::Json whyFromInputs(const Question& question, const WhyInputs& files) {
  InputFiles names;
  names.inputs = files.inputs;
  names.bridge = files.bridge;
  names.application = question.vlan ? Mrp::MrpApplication::mvrp : Mrp::MrpApplication::msrp;
  const Inputs inputs = readInputs(names);
  ReplayOptions options;
  options.bridge = files.bridge;
  options.records = kRecords;
  if (files.at) options.until = *files.at;
  ReplaySession session(inputs, options, {});
  session.run();
  const Mrp::Why::Sources sources = session.sources();
  return Daemon::whyJson(sources, ask(sources, question));
}

}  // namespace Cli

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/rpc/Message.h"

namespace Cli {

// What is asked. One of vlan, stream and srClass.
struct Question {
  std::optional<std::uint16_t> vlan;
  std::optional<std::uint64_t> stream;
  std::optional<std::uint8_t> srClass;
  std::string port;  // empty: every port
};

// "A", "B" or a number. None for anything else.
std::optional<std::uint8_t> srClassFrom(const std::string& text);
// 16 hexadecimal digits, or as streams are printed: 00:1b:21:aa:99:87:0001. None for anything else.
std::optional<std::uint64_t> streamFrom(const std::string& text);

struct WhyInputs {
  std::vector<std::string> inputs;  // as `mrp replay` takes them
  std::optional<double> at;         // when it is asked; otherwise at the end
  bool bridge = false;
};

// Replays the inputs and asks. Throws BadInput.
Rpc::Json whyFromInputs(const Question& question, const WhyInputs& inputs);

}  // namespace Cli

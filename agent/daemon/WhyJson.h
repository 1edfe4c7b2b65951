#pragma once

#include <functional>
#include <string>

#include "agent/rpc/Message.h"
#include "agent/why/Answer.h"

namespace Daemon {

// Answers as JSON, see docs/formats.md.
Rpc::Json whyJson(const Mrp::Why::Sources& sources, const std::vector<Mrp::Why::Answer>& answers);

}  // namespace Daemon

#pragma once

#include <string>

#include "agent/rpc/Message.h"

namespace Cli {

inline constexpr const char* kOpenMetrics =
    "application/openmetrics-text; version=1.0.0; charset=utf-8";

// What an agent counts, as OpenMetrics text, from its tables (AgentFeed::tables); null without an
// agent. Labels are ports, applications, classes and kinds: their number does not grow with VLANs
// and streams.
std::string metricsText(const Rpc::Json& tables, int viewers);

}  // namespace Cli

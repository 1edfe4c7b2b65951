#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace Cli {

// One line of JSON without spaces. As the library prints it, but for numbers with a fraction: those
// are the shortest decimals that read back as the same number (54.151999, not
// 54.151999000000004), always with a decimal point or an exponent. Octets that are not UTF-8 are
// replaced.
std::string jsonText(const nlohmann::ordered_json& json);

}  // namespace Cli

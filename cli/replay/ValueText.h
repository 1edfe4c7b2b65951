#pragma once

#include <string>

#include "cli/replay/Application.h"
#include "platform/time/Seconds.h"

namespace Cli {

// "00:1b:21:aa:99:87:0001": the talker's address and the number it chose.
std::string streamText(std::uint64_t streamId);
// A value in words: "00:1b:21:aa:99:87:0001 ready"; that of a VLAN is its number. Takes staged
// images, and a listener's FirstValue as well; octets of any other length come out in hexadecimal.
std::string valueText(Mrp::MrpApplication application, std::uint8_t type, OctetSpan value);
// "JoinIn"; the number where there is no such AttributeEvent.
std::string eventText(std::uint8_t event);
// "0.200000": seconds with six digits, or nine where they are needed.
std::string timeText(Platform::Seconds time);

}  // namespace Cli

#pragma once

#include <string>
#include <string_view>

namespace Cli {

// The page that shows a run: its sources as they stand in cli/page, put into the program when it is
// built. Valid for ever.
std::string_view pageHtml();
std::string_view pageStyle();
std::string_view pageScript();

// The page as one file that needs nothing else; `data` is JSON without "<".
std::string selfContainedPage(std::string_view data);

}  // namespace Cli

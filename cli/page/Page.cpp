#include "cli/page/Page.h"

namespace Cli {
namespace {

void put(std::string& page, std::string_view mark, std::string_view before, std::string_view text,
         std::string_view after) {
  const std::size_t at = page.find(mark);
  std::string whole(before);
  whole += text;
  whole += after;
  page.replace(at, mark.size(), whole);
}

}  // namespace

std::string selfContainedPage(std::string_view data) {
  std::string page(pageHtml());
  put(page, "<!-- policy -->", "<meta http-equiv=\"Content-Security-Policy\" content=\"",
      "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'", "\">");
  put(page, "<!-- style -->", "<style>\n", pageStyle(), "</style>");
  put(page, "<!-- script -->", "<script>\n", pageScript(), "</script>");
  put(page, "<!-- data -->", "<script type=\"application/json\" id=\"data\">", data, "</script>");
  return page;
}

}  // namespace Cli

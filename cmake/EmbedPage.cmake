# cmake -DOUT=<file.cpp> -DHTML=… -DSTYLE=… "-DSCRIPTS=a.js;b.js" -P EmbedPage.cmake: the sources of the page as text in the
# program.
function(literal out)
  set(text)
  foreach(file IN LISTS ARGN)
    file(READ ${file} content)
    string(APPEND text "${content}")
  endforeach()
  set(${out} "R\"page(${text})page\"" PARENT_SCOPE)
endfunction()
literal(html ${HTML})
literal(style ${STYLE})
literal(script ${SCRIPTS})
file(WRITE ${OUT} "#include \"cli/page/Page.h\"

namespace Cli {

std::string_view pageHtml() { return ${html}; }
std::string_view pageStyle() { return ${style}; }
std::string_view pageScript() { return ${script}; }

}  // namespace Cli
")

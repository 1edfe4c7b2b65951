# The page that shows a run, made of its sources in cli/page: page_source is a source of the command.
set(page_folder ${PROJECT_SOURCE_DIR}/cli/page)
set(page_source ${PROJECT_BINARY_DIR}/page/PageText.cpp)
# In the order in which they build on each other.
set(page_scripts)
foreach(name words model layout view details input live main)
  list(APPEND page_scripts ${page_folder}/${name}.js)
endforeach()
add_custom_command(OUTPUT ${page_source}
  COMMAND ${CMAKE_COMMAND} -DOUT=${page_source} -DHTML=${page_folder}/page.html -DSTYLE=${page_folder}/page.css
    "-DSCRIPTS=${page_scripts}" -P ${PROJECT_SOURCE_DIR}/cmake/EmbedPage.cmake
  DEPENDS ${page_folder}/page.html ${page_folder}/page.css ${page_scripts} ${PROJECT_SOURCE_DIR}/cmake/EmbedPage.cmake
  VERBATIM)

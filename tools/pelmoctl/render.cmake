# `pelmoctl render`: the stored preview drawn as one HTML page. Escaping, the style sheet, the
# page script, the page itself, the store read and the command are each a file of their own.
add_library(pelmoctl-render STATIC
  ${CMAKE_CURRENT_LIST_DIR}/RenderHtmlText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderStyle.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderScript.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderHtml.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderStoredPreview.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderCommand.cpp)
target_include_directories(pelmoctl-render PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-render PUBLIC PkgConfig::JSONCPP PRIVATE pelmo-api-internal pelmo_warnings)

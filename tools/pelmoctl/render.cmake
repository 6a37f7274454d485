# `pelmoctl render`: the stored preview drawn as one HTML page. Escaping, the style sheet, the
# page script and the page itself make a library of their own that needs neither the bus nor
# the store, so that a test can link it beside the shared library without a second copy of it.
add_library(pelmoctl-render-page STATIC
  ${CMAKE_CURRENT_LIST_DIR}/RenderHtmlText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderStyle.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderScript.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderHtml.cpp)
target_include_directories(pelmoctl-render-page PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-render-page PUBLIC PkgConfig::JSONCPP PRIVATE PkgConfig::GIO pelmo_warnings)

# The command: the store read and the file written.
add_library(pelmoctl-render STATIC
  ${CMAKE_CURRENT_LIST_DIR}/RenderStoredPreview.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderCommand.cpp)
target_include_directories(pelmoctl-render PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-render PUBLIC pelmoctl-render-page PkgConfig::JSONCPP PRIVATE pelmo-api-internal
  pelmo_warnings)

# `pelmoctl studio`: the live home screen. Its HTTP side is libsoup 3 on the GLib main loop.
pkg_check_modules(SOUP3 REQUIRED IMPORTED_TARGET libsoup-3.0)
add_library(pelmoctl-studio STATIC
  ${CMAKE_CURRENT_LIST_DIR}/StudioCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StudioServer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StudioStoreWatch.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StudioPage.cpp)
target_include_directories(pelmoctl-studio PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-studio PUBLIC pelmoctl-render-page pelmoctl-store PkgConfig::SOUP3
  PkgConfig::JSONCPP PRIVATE pelmo-api-internal PkgConfig::GIO pelmo_warnings)

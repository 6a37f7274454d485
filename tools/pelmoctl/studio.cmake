# `pelmoctl studio`: the live home screen. Its HTTP side is libsoup 3 on the GLib main loop.
# Without libsoup 3 (libsoup-3.0-dev) pelmoctl is built without it and says so when asked; the
# demo does not need it, the tests do (scripts/setup-deps.sh installs it).
pkg_check_modules(SOUP3 IMPORTED_TARGET libsoup-3.0)
if(NOT SOUP3_FOUND)
  message(STATUS "libsoup-3.0 not found: pelmoctl is built without its studio command")
  return()
endif()
add_library(pelmoctl-studio STATIC
  ${CMAKE_CURRENT_LIST_DIR}/StudioCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StudioServer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StudioStoreWatch.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StudioPage.cpp)
target_include_directories(pelmoctl-studio PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-studio PUBLIC pelmoctl-render-page pelmoctl-store PkgConfig::SOUP3
  PkgConfig::JSONCPP PRIVATE pelmo-api-internal PkgConfig::GIO pelmo_warnings)
target_compile_definitions(pelmoctl-studio INTERFACE PELMO_HAVE_STUDIO=1)

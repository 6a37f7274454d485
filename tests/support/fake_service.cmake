# The scripted service needs the generated binding; the test that uses it links the library
# (shared or internal) that provides it, so the binding exists once per process.
add_library(pelmo-fake-service STATIC ${CMAKE_CURRENT_LIST_DIR}/FakeService.cpp)
add_dependencies(pelmo-fake-service pelmo_api_obj)
target_include_directories(pelmo-fake-service PUBLIC ${CMAKE_CURRENT_LIST_DIR}
  $<TARGET_PROPERTY:pelmo-api,INTERFACE_INCLUDE_DIRECTORIES>)
target_link_libraries(pelmo-fake-service PUBLIC PkgConfig::GIO PkgConfig::JSONCPP Threads::Threads PRIVATE pelmo_warnings)

# register, publish, get, withdraw, status and --host: the built pelmoctl run as a process, each
# test with a private host store of its own.
add_executable(pelmoctl_store_tests
  ${CMAKE_CURRENT_LIST_DIR}/PelmoctlStoreFixture.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoctlRegisterTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoctlPublishTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoctlReadTest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoctlHostTest.cpp)
target_compile_definitions(pelmoctl_store_tests PRIVATE
  PELMOCTL_PATH="$<TARGET_FILE:pelmoctl>"
  PELMO_SERVICE_PATH="$<TARGET_FILE:pelmo-service>"
  PELMO_EXAMPLE_PREVIEWS="${PROJECT_SOURCE_DIR}/examples/previews")
target_link_libraries(pelmoctl_store_tests PRIVATE pelmo-test-process pelmo-test-support PkgConfig::SQLITE3 PkgConfig::JSONCPP
  GTest::gtest_main pelmo_warnings)
add_dependencies(pelmoctl_store_tests pelmoctl pelmo-service)
pelmo_discover_tests(pelmoctl_store_tests KIND integration PROPERTIES TIMEOUT 120)

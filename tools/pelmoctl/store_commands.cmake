# The subcommands that talk to the store: register, publish, get, withdraw, status; and the
# private host store that --host starts around any of them.
add_library(pelmoctl-store STATIC
  ${CMAKE_CURRENT_LIST_DIR}/StoreCommandSupport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewPublish.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RegisterCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PublishCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/WithdrawCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/GetCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/StatusCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HostStoreMode.cpp)
target_include_directories(pelmoctl-store PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-store PUBLIC PkgConfig::JSONCPP PRIVATE pelmoctl-validate pelmo-api-internal pelmo-hostbus pelmo-dlog-prefix pelmo_warnings)

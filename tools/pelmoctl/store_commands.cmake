# The subcommands that talk to the store: register, publish, get, withdraw, status.
add_library(pelmoctl-store STATIC ${CMAKE_CURRENT_LIST_DIR}/StoreCommands.cpp)
target_include_directories(pelmoctl-store PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-store PUBLIC PkgConfig::JSONCPP PRIVATE pelmo-api-internal pelmo_warnings)

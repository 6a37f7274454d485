# `pelmoctl validate`: the offline document check.
add_library(pelmoctl-validate STATIC ${CMAKE_CURRENT_LIST_DIR}/ValidateCommand.cpp)
target_include_directories(pelmoctl-validate PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-validate PUBLIC PkgConfig::JSONCPP PRIVATE pelmo-api-internal pelmo_warnings)

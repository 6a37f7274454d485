# `pelmoctl render`: the stored preview drawn as one HTML page.
add_library(pelmoctl-render STATIC ${CMAKE_CURRENT_LIST_DIR}/RenderCommand.cpp)
target_include_directories(pelmoctl-render PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(pelmoctl-render PUBLIC PkgConfig::JSONCPP PRIVATE pelmo-api-internal pelmo_warnings)

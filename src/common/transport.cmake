target_sources(pelmo_api_obj PRIVATE ${CMAKE_CURRENT_LIST_DIR}/PelmoGDBusUtil.cpp)

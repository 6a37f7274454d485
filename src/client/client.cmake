target_sources(pelmo_api_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PelmoAPI.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoDataRequests.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoControlRequests.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoSelectRequest.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PelmoPreviewRequests.cpp)

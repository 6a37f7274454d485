# Shared-memory results: the service's writer, the client's checked reader and its cursor.
target_sources(pelmo-store PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/SharedResultWriter.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SharedResultAccess.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SharedResultReader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SharedResultCursor.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SharedQueryObject.cpp)

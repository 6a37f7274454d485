target_sources(pelmo_api_obj PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/PreviewAccelerator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilTables.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewHash.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewPublicExtra.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewModuleRules.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilParse.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilStoredRows.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilSections.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilTiles.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilRowValues.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilLoad.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewDataUtilExport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewRequestText.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewStyledText.cpp)

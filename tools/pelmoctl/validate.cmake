# `pelmoctl validate`: the offline document check.
add_library(pelmoctl-validate STATIC
  ${CMAKE_CURRENT_LIST_DIR}/ValidateCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DocumentFile.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ValidateDocument.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ValidateReport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ValidateJsonReport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DocumentChecks.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ContentKeyCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/IntegerColumnCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/LibraryReader.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DocumentPositions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NameSuggestion.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewSchema.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SchemaCommand.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RequestSizeCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QuotaCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TextEncodingCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/JsonTextFlaws.cpp
  ${PROJECT_SOURCE_DIR}/service/daemon/BusMessageLimit.cpp
  ${PROJECT_SOURCE_DIR}/service/core/TextCheck.cpp)
target_include_directories(pelmoctl-validate PUBLIC ${CMAKE_CURRENT_LIST_DIR}
  PRIVATE ${PROJECT_SOURCE_DIR}/service/daemon
  # The store's quotas and its UTF-8 rule come from the service's own headers.
  PRIVATE ${PROJECT_SOURCE_DIR}/service/core)
target_link_libraries(pelmoctl-validate PUBLIC PkgConfig::JSONCPP PRIVATE pelmo-api-internal pelmo-dlog-prefix pelmo_warnings)

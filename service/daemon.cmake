# The daemon: the request handling of the core, served on the bus through the generated
# skeleton that the library exports.
add_executable(pelmo-service
  ${CMAKE_CURRENT_LIST_DIR}/daemon/ServiceMain.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/StoreBusService.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/ServiceOptions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/PendingCall.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/RequestWorkers.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/BusMessageLimit.cpp)
target_link_libraries(pelmo-service PRIVATE pelmo-service-core pelmo-api PkgConfig::GIO Threads::Threads pelmo_warnings)
install(TARGETS pelmo-service RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_CURRENT_LIST_DIR}/org.orvik.pelmo_service.conf
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d)

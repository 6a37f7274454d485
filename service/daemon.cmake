# The daemon: the request handling of the core, served on the bus through the generated
# skeleton that the library exports.
add_executable(pelmo-service
  ${CMAKE_CURRENT_LIST_DIR}/daemon/ServiceMain.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/StoreBusService.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/ServiceOptions.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/CallerCredentials.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/PendingCall.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/RequestWorkers.cpp
  ${CMAKE_CURRENT_LIST_DIR}/daemon/BusMessageLimit.cpp)
target_link_libraries(pelmo-service PRIVATE pelmo-service-core pelmo-api PkgConfig::GIO Threads::Threads pelmo_warnings)
install(TARGETS pelmo-service RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_CURRENT_LIST_DIR}/org.orvik.pelmo_service.conf
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system.d)

# As a system service: the systemd unit, its user, and D-Bus activation of both names through
# the unit, below the prefix where systemd and the bus look (/usr/local/lib/systemd/system,
# /usr/local/lib/sysusers.d, /usr/local/share/dbus-1/system-services for the default prefix).
# The files name the installed program, so they are written at install time, for the prefix
# the tree is installed to.
set(PELMO_SYSTEM_TEMPLATES ${CMAKE_CURRENT_LIST_DIR}/system)
set(PELMO_SYSTEM_FILES ${CMAKE_CURRENT_BINARY_DIR}/system)
install(CODE "
  set(PELMO_BINDIR \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
  foreach(file pelmo-service.service org.orvik.Feltrix.dbus.service org.orvik.pelmo_provider.dbus.service)
    configure_file(\"${PELMO_SYSTEM_TEMPLATES}/\${file}.in\" \"${PELMO_SYSTEM_FILES}/\${file}\" @ONLY)
  endforeach()
")
install(FILES ${PELMO_SYSTEM_FILES}/pelmo-service.service DESTINATION lib/systemd/system)
install(FILES ${PELMO_SYSTEM_FILES}/org.orvik.Feltrix.dbus.service ${PELMO_SYSTEM_FILES}/org.orvik.pelmo_provider.dbus.service
        DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/system-services)
install(FILES ${PELMO_SYSTEM_TEMPLATES}/pelmo-service.sysusers DESTINATION lib/sysusers.d RENAME pelmo-service.conf)

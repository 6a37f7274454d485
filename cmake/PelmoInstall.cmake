# What `cmake --install` puts in place besides the programs (whose rules sit beside them): the
# library, the host platform libraries, their public headers, a pkg-config file and a CMake
# package whose imported target is Pelmo::api.
#
#   include/pelmo-api    the library's headers and the generated D-Bus binding header
#   include/pelmo-host   the host platform's headers (dlog.h, app_common.h, pelmo/...)
#   lib/pkgconfig/pelmo-api.pc
#   lib/cmake/PelmoApi/  PelmoApiConfig.cmake, its version file and the exported targets
include(CMakePackageConfigHelpers)

set(PELMO_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/PelmoApi)

# The same name in the tree as for an installed package, so that examples/ builds either way.
add_library(Pelmo::api ALIAS pelmo-api)
set_target_properties(pelmo-api PROPERTIES EXPORT_NAME api)
set_target_properties(pelmo-store PROPERTIES EXPORT_NAME store)
set_target_properties(pelmo-dlog PROPERTIES EXPORT_NAME dlog)
set_target_properties(pelmo-appfw PROPERTIES EXPORT_NAME appfw)

# A library built with a sanitizer needs its runtime in every program that loads it: programs
# built outside the tree get the link option through the imported target and the .pc file.
set(PELMO_SANITIZER_LINK_OPTION "")
if(PELMO_SANITIZE)
  set(PELMO_SANITIZER_LINK_OPTION -fsanitize=address,undefined)
elseif(PELMO_TSAN)
  set(PELMO_SANITIZER_LINK_OPTION -fsanitize=thread)
endif()
if(PELMO_SANITIZER_LINK_OPTION)
  target_link_options(pelmo-api INTERFACE $<INSTALL_INTERFACE:${PELMO_SANITIZER_LINK_OPTION}>)
endif()

install(TARGETS pelmo-api pelmo-store pelmo-dlog pelmo-appfw
  EXPORT PelmoApiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The library's headers, all of include/pelmo-api: the request interface, the bus names, and what
# the exported classes need. The generated binding header includes PelmoExport.h by that name,
# so it stays beside it.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/pelmo-api/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pelmo-api
  FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_BINARY_DIR}/src/generated/pelmo_service_gdbus_generated.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pelmo-api)

# The host platform's headers, laid out as on a device: <dlog.h>, <app_common.h>, <pelmo/...>.
install(DIRECTORY
  ${PROJECT_SOURCE_DIR}/platform/dlog/include/
  ${PROJECT_SOURCE_DIR}/platform/appfw/include/
  ${PROJECT_SOURCE_DIR}/platform/pelmo/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/pelmo-host
  FILES_MATCHING PATTERN "*.h")

install(EXPORT PelmoApiTargets NAMESPACE Pelmo:: FILE PelmoApiTargets.cmake DESTINATION ${PELMO_PACKAGE_DIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/PelmoApiConfig.cmake.in
  ${PROJECT_BINARY_DIR}/PelmoApiConfig.cmake
  INSTALL_DESTINATION ${PELMO_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/PelmoApiConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/PelmoApiConfig.cmake ${PROJECT_BINARY_DIR}/PelmoApiConfigVersion.cmake
  DESTINATION ${PELMO_PACKAGE_DIR})

# The .pc file names its prefix relative to its own folder, so the installed tree can be moved
# (or installed with --prefix or DESTDIR) and still describe itself.
set(PELMO_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH PELMO_PC_TO_PREFIX /prefix/${PELMO_PC_DIR} /prefix)
string(REGEX REPLACE "/$" "" PELMO_PC_TO_PREFIX "${PELMO_PC_TO_PREFIX}")
string(REPLACE ";" " " PELMO_PC_EXTRA_LIBS "${PELMO_SANITIZER_LINK_OPTION}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/pelmo-api.pc.in ${PROJECT_BINARY_DIR}/pelmo-api.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pelmo-api.pc DESTINATION ${PELMO_PC_DIR})

# Shared part of the cross toolchain files. The including file sets PELMO_CROSS_TRIPLET,
# PELMO_CROSS_PROCESSOR and PELMO_CROSS_QEMU.
#
# Target libraries come from a sysroot (PELMO_CROSS_SYSROOT, as a cache variable or in the
# environment; scripts/cross-sysroot.sh unpacks one) or, without one, from the machine's own
# multiarch directories (/usr/lib/<triplet>, the target's -dev packages installed as foreign
# packages). Programs built for the target run under qemu-user, which CTest and the discovery
# of GoogleTest cases use as the emulator.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${PELMO_CROSS_PROCESSOR})
set(CMAKE_C_COMPILER ${PELMO_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PELMO_CROSS_TRIPLET}-g++)

if(NOT DEFINED PELMO_CROSS_SYSROOT AND DEFINED ENV{PELMO_CROSS_SYSROOT})
  set(PELMO_CROSS_SYSROOT "$ENV{PELMO_CROSS_SYSROOT}")
endif()
set(PELMO_CROSS_SYSROOT "${PELMO_CROSS_SYSROOT}" CACHE PATH "Sysroot with the target's libraries (empty: multiarch)")
# try_compile projects get the same sysroot.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PELMO_CROSS_SYSROOT)

if(PELMO_CROSS_SYSROOT)
  # The compiler keeps its own C library headers first; the sysroot adds the libraries'.
  set(CMAKE_SYSROOT "${PELMO_CROSS_SYSROOT}")
  set(CMAKE_FIND_ROOT_PATH "${PELMO_CROSS_SYSROOT}")
  set(_pelmo_runtime_root "${PELMO_CROSS_SYSROOT}")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${PELMO_CROSS_SYSROOT}")
  set(ENV{PKG_CONFIG_LIBDIR}
      "${PELMO_CROSS_SYSROOT}/usr/lib/${PELMO_CROSS_TRIPLET}/pkgconfig:${PELMO_CROSS_SYSROOT}/usr/share/pkgconfig")
else()
  set(CMAKE_FIND_ROOT_PATH "/usr/${PELMO_CROSS_TRIPLET}")
  set(CMAKE_LIBRARY_ARCHITECTURE ${PELMO_CROSS_TRIPLET})
  set(_pelmo_runtime_root "/usr/${PELMO_CROSS_TRIPLET}")
  set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${PELMO_CROSS_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
endif()
# Build tools (gdbus-codegen, bash, dbus-daemon) are the machine's own.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The target's loader looks for libraries in its multiarch directories, which qemu-user finds
# under -L; children that a test starts inherit the variable through the environment.
set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/bin/${PELMO_CROSS_QEMU} -L ${_pelmo_runtime_root}
    -E LD_LIBRARY_PATH=/lib/${PELMO_CROSS_TRIPLET}:/usr/lib/${PELMO_CROSS_TRIPLET})

# GCC notes on 32-bit ARM that the passing of some standard-library types changed in GCC 7.1;
# it matters only when linking with objects built by an older GCC, which nothing here is.
if(PELMO_CROSS_PROCESSOR STREQUAL "arm")
  string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-psabi")
endif()

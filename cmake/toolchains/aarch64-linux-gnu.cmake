# 64-bit ARM (Debian arm64): cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
set(PELMO_CROSS_TRIPLET aarch64-linux-gnu)
set(PELMO_CROSS_PROCESSOR aarch64)
set(PELMO_CROSS_QEMU qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/PelmoCross.cmake)

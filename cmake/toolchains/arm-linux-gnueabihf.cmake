# 32-bit ARM (Debian armhf): cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake
set(PELMO_CROSS_TRIPLET arm-linux-gnueabihf)
set(PELMO_CROSS_PROCESSOR arm)
set(PELMO_CROSS_QEMU qemu-arm-static)
include(${CMAKE_CURRENT_LIST_DIR}/PelmoCross.cmake)

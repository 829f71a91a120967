# 32-bit ARM, ARMv7-A with hardware floating point.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(board_architecture armhf)
set(board_triplet arm-linux-gnueabihf)
set(board_emulator qemu-arm)
# Notes on a calling convention that changed with GCC 7.1: nothing here was built before.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian-board.cmake)

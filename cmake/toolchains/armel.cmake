# 32-bit ARM, ARMv5TE without floating-point hardware.
set(CMAKE_SYSTEM_PROCESSOR armv5tel)
set(board_architecture armel)
set(board_triplet arm-linux-gnueabi)
set(board_emulator qemu-arm)
# Notes on a calling convention that changed with GCC 7.1: nothing here was built before.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian-board.cmake)

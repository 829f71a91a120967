# 64-bit ARM.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(board_architecture arm64)
set(board_triplet aarch64-linux-gnu)
set(board_emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian-board.cmake)

# What the toolchain files of this folder share: Debian's cross compilers, the folder that tools/sysroot fills, and
# qemu's user mode, which starts the board's programs here.
#
# An including file sets beforehand
#   board_architecture   Debian's name of it: armhf
#   board_triplet        the compiler's prefix: arm-linux-gnueabihf
#   board_emulator       qemu's program: qemu-arm
#   CMAKE_SYSTEM_PROCESSOR

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${board_triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${board_triplet})

cmake_path(SET board_sysroot NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${board_architecture})
set(SENSORDLL_SYSROOT ${board_sysroot} CACHE PATH "The board's packages, fetched by tools/sysroot")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SENSORDLL_SYSROOT)
if(NOT EXISTS ${SENSORDLL_SYSROOT}/complete)
  message(FATAL_ERROR "The board's packages are missing. Fetch them with\n"
    "  tools/sysroot ${board_architecture} ${SENSORDLL_SYSROOT}")
endif()

# The C and C++ libraries come with the cross compiler, the rest lies in the sysroot.
set(CMAKE_FIND_ROOT_PATH ${SENSORDLL_SYSROOT} /usr/${board_triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} ${SENSORDLL_SYSROOT}/usr/lib/${board_triplet}/pkgconfig)

# Without qemu everything builds and no test starts.
find_program(SENSORDLL_EMULATOR ${board_emulator})
mark_as_advanced(SENSORDLL_EMULATOR)
if(SENSORDLL_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${SENSORDLL_EMULATOR} -L /usr/${board_triplet})
endif()

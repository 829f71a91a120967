# The library as firmware may want to build it. The compiler and the usual options of this build need no test of their own.

# add_variant_test(<variant> <compiler> <option>...)
function(add_variant_test variant compiler)
  add_interface_test(TheLibraryBuildsWith.${variant}
    ${CMAKE_CURRENT_SOURCE_DIR}/variant_build.sh ${CMAKE_COMMAND} ${compiler} ${PROJECT_SOURCE_DIR}
    ${CMAKE_CURRENT_BINARY_DIR}/variants/${variant} ${ARGN})
  set_tests_properties(interface.TheLibraryBuildsWith.${variant} PROPERTIES PROCESSORS 2)
endfunction()

add_variant_test(no-rtti ${CMAKE_CXX_COMPILER} -O1 -fno-rtti)
add_variant_test(Os ${CMAKE_CXX_COMPILER} -Os)
if(SENSORDLL_CLANGXX)
  add_variant_test(clang ${SENSORDLL_CLANGXX} -O1)
endif()

# The packages musl-dev and libc++-14-dev.
find_path(SENSORDLL_MUSL_HEADERS features.h PATHS /usr/include/${CMAKE_SYSTEM_PROCESSOR}-linux-musl NO_DEFAULT_PATH)
find_path(SENSORDLL_LIBCXX_HEADERS __config PATHS /usr/lib/llvm-14/include/c++/v1 NO_DEFAULT_PATH)
mark_as_advanced(SENSORDLL_MUSL_HEADERS SENSORDLL_LIBCXX_HEADERS)
if(SENSORDLL_CLANGXX AND SENSORDLL_MUSL_HEADERS AND SENSORDLL_LIBCXX_HEADERS)
  add_interface_test(TheLibraryCompilesAgainstMusl
    ${CMAKE_CURRENT_SOURCE_DIR}/musl_headers.sh ${SENSORDLL_CLANGXX} ${PROJECT_SOURCE_DIR} ${SENSORDLL_LIBCXX_HEADERS}
    ${SENSORDLL_MUSL_HEADERS} ${TinyXML_INCLUDE_DIR}/tinyxml.h)
  set_tests_properties(interface.TheLibraryCompilesAgainstMusl PROPERTIES PROCESSORS 2)
endif()

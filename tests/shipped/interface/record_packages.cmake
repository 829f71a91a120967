# A dependency provider that provides nothing: it writes the name of every package looked for to
# packages_looked_for.txt in the build tree and leaves the search to CMake.
macro(record_package method name)
  file(APPEND ${CMAKE_BINARY_DIR}/packages_looked_for.txt "${name}\n")
endmacro()
cmake_language(SET_DEPENDENCY_PROVIDER record_package SUPPORTED_METHODS FIND_PACKAGE)

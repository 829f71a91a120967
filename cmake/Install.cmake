include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/sensordll)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# ---- libraries and headers -----------------------------------------------------------------------------------

install(TARGETS sensordll sensorplatform sensordll_headers platform_headers portcheck
  EXPORT sensordllTargets
  LIBRARY DESTINATION ${SENSORDLL_LIBRARY_FOLDER} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sensordll COMPONENT development
  FILES_MATCHING PATTERN *.h PATTERN *.def)
install(DIRECTORY platform/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sensordll/platform COMPONENT development
  FILES_MATCHING PATTERN *.h)
install(FILES services/checks/PortCheck.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sensordll COMPONENT development)

# ---- find_package(sensordll) and pkg-config --------------------------------------------------------------------

install(EXPORT sensordllTargets NAMESPACE sensordll:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(cmake/sensordllConfig.cmake.in ${PROJECT_BINARY_DIR}/cmake/sensordllConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/sensordllConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/cmake/sensordllConfig.cmake
  ${PROJECT_BINARY_DIR}/cmake/sensordllConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

file(RELATIVE_PATH prefix_from_pc /${pkgconfig_dir} /)
string(REGEX REPLACE "/$" "" prefix_from_pc ${prefix_from_pc})
configure_file(cmake/sensordll.pc.in ${PROJECT_BINARY_DIR}/cmake/sensordll.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmake/sensordll.pc DESTINATION ${pkgconfig_dir} COMPONENT development)

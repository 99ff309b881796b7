# What `cmake --install` lays down: header, both libraries, CMake package and pkg-config file.
install(TARGETS talvcodec talvcodec_static EXPORT talvcodec-targets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(FILES codec/talvcodec.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT talvcodec-targets NAMESPACE talvcodec:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/talvcodec")

configure_package_config_file(cmake/talvcodec-config.cmake.in "${PROJECT_BINARY_DIR}/talvcodec-config.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/talvcodec")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/talvcodec-config-version.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/talvcodec-config.cmake" "${PROJECT_BINARY_DIR}/talvcodec-config-version.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/talvcodec")

# Paths in the .pc file are relative to where it lies, so that an installed tree may be moved.
file(RELATIVE_PATH talv_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" talv_pc_prefix "${talv_pc_prefix}")
configure_file(cmake/talvcodec.pc.in "${PROJECT_BINARY_DIR}/talvcodec.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/talvcodec.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

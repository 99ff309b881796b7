# What `cmake --install` lays down, as three components: the library, what is needed to build on it (headers, static
# libraries, CMake package, pkg-config files), and the tool (tools/CMakeLists.txt).
install(TARGETS talvcodec EXPORT talvcodec-targets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT library)
install(TARGETS talvcodec_static EXPORT talvcodec-targets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(FILES codec/talvcodec.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
if(TARGET talvhost)
  install(TARGETS talvhost EXPORT talvcodec-targets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
  install(FILES host/talvhost.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
endif()
if(TARGET talvsearch)
  install(TARGETS talvsearch EXPORT talvcodec-targets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library NAMELINK_COMPONENT development
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT library)
  install(TARGETS talvsearch_static EXPORT talvcodec-targets
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
  install(FILES search/talvsearch.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
endif()
install(EXPORT talvcodec-targets NAMESPACE talvcodec:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/talvcodec"
  COMPONENT development)

configure_package_config_file(cmake/talvcodec-config.cmake.in "${PROJECT_BINARY_DIR}/talvcodec-config.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/talvcodec")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/talvcodec-config-version.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/talvcodec-config.cmake" "${PROJECT_BINARY_DIR}/talvcodec-config-version.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/talvcodec" COMPONENT development)

# Paths in the .pc files are relative to where they lie, so that an installed tree may be moved.
file(RELATIVE_PATH talv_pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" talv_pc_prefix "${talv_pc_prefix}")
set(talv_pc_names talvcodec)
if(TARGET talvhost)
  list(APPEND talv_pc_names talvhost)
endif()
if(TARGET talvsearch)
  list(APPEND talv_pc_names talvsearch)
endif()
foreach(name IN LISTS talv_pc_names)
  configure_file(cmake/${name}.pc.in "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT development)
endforeach()

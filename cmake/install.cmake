# What `cmake --install` lays down: the library, its headers, and both ways to find them.
#
# Headers go to include/vxa; pkg-config and the CMake package give both include/ and include/vxa, so that programs may
# write <vxa/xatmi.h> or, as the standard has it, <xatmi.h>.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

target_include_directories(vxa PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
                                      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vxa>)
install(TARGETS vxa vxahost vxahost_static EXPORT vxa
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/vxa DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN "*.h")

set(vxa_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vxa)
install(EXPORT vxa FILE vxa-targets.cmake NAMESPACE vxa:: DESTINATION ${vxa_cmake_dir} COMPONENT development)
configure_package_config_file(packaging/vxa-config.cmake.in vxa-config.cmake INSTALL_DESTINATION ${vxa_cmake_dir})
write_basic_package_version_file(vxa-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vxa-config.cmake ${PROJECT_BINARY_DIR}/vxa-config-version.cmake
        DESTINATION ${vxa_cmake_dir} COMPONENT development)

# Relative to where the file lies, so that an installed tree may be moved.
file(RELATIVE_PATH vxa_pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
foreach(package vxa vxahost)
  configure_file(packaging/${package}.pc.in ${package}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()

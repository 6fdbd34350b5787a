# The installed package: headers, library, companions, tools, CMake package and pkg-config file.
include(CMakePackageConfigHelpers)
install(TARGETS KVBase EXPORT KVBaseTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(companion_targets)
  install(TARGETS ${companion_targets} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(DIRECTORY Headers/KVBase DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/include/KVBase/KVBase.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/KVBase)
install(EXPORT KVBaseTargets NAMESPACE KVBase:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KVBase)
configure_package_config_file(cmake/KVBaseConfig.cmake.in ${PROJECT_BINARY_DIR}/KVBaseConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KVBase)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KVBaseConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KVBaseConfig.cmake ${PROJECT_BINARY_DIR}/KVBaseConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KVBase)
# How far the prefix is above the pkg-config file depends on how deep the library folder lies.
file(RELATIVE_PATH prefix_from_pc_file /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc_file "${prefix_from_pc_file}")
configure_file(cmake/KVBase.pc.in ${PROJECT_BINARY_DIR}/KVBase.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/KVBase.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

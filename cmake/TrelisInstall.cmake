include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/trelis)

install(TARGETS trelis EXPORT trelis-targets)
install(DIRECTORY trelis
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING
    PATTERN "*.h"
    PATTERN "detail" EXCLUDE)
install(EXPORT trelis-targets NAMESPACE trelis:: DESTINATION ${package_dir})

configure_package_config_file(cmake/trelis-config.cmake.in
    ${CMAKE_CURRENT_BINARY_DIR}/trelis-config.cmake
    INSTALL_DESTINATION ${package_dir}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/trelis-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${CMAKE_CURRENT_BINARY_DIR}/trelis-config.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/trelis-config-version.cmake
    DESTINATION ${package_dir})

file(RELATIVE_PATH pkgconfig_to_prefix
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
set(pkgconfig_cflags "")
set(pkgconfig_libs_private "")
if(NOT BUILD_SHARED_LIBS)
    set(pkgconfig_cflags " -DTRELIS_STATIC")
    set(pkgconfig_libs_private "Libs.private: -pthread\n")
endif()
configure_file(cmake/trelis.pc.in ${CMAKE_CURRENT_BINARY_DIR}/trelis.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/trelis.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# How others find the libraries: find_package(Melnar) on the installed files or on a build tree, and pkg-config.

include(CMakePackageConfigHelpers)

set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/Melnar)

install(
    TARGETS melnar-engine melnar-reader
    EXPORT MelnarTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/melnar COMPONENT development)
install(EXPORT MelnarTargets NAMESPACE Melnar:: DESTINATION ${packageDirectory} COMPONENT development)
export(EXPORT MelnarTargets NAMESPACE Melnar:: FILE ${PROJECT_BINARY_DIR}/MelnarTargets.cmake)

configure_file(cmake/MelnarConfig.cmake.in ${PROJECT_BINARY_DIR}/MelnarConfig.cmake @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/MelnarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
# The prefix is told relative to the file, so that an install tree can be moved.
file(RELATIVE_PATH MELNAR_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/melnar.pc.in ${PROJECT_BINARY_DIR}/melnar.pc @ONLY)

install(
    FILES ${PROJECT_BINARY_DIR}/MelnarConfig.cmake ${PROJECT_BINARY_DIR}/MelnarConfigVersion.cmake
    DESTINATION ${packageDirectory} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/melnar.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

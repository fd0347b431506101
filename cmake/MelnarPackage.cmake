# How others find the libraries: find_package(Melnar) on the installed files or on a build tree, and pkg-config.

include(CMakePackageConfigHelpers)

set(packageDirectory ${CMAKE_INSTALL_LIBDIR}/cmake/Melnar)

# A shared library is found by its soname where the program runs, and by its short name where one is linked.
install(
    TARGETS melnar-engine melnar-reader
    EXPORT MelnarTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development)
install(EXPORT MelnarTargets NAMESPACE Melnar:: DESTINATION ${packageDirectory} COMPONENT development)
export(EXPORT MelnarTargets NAMESPACE Melnar:: FILE ${PROJECT_BINARY_DIR}/MelnarTargets.cmake)

configure_file(cmake/MelnarConfig.cmake.in ${PROJECT_BINARY_DIR}/MelnarConfig.cmake @ONLY)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/MelnarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
# The prefix is told relative to the file, so that an install tree can be moved.
file(RELATIVE_PATH MELNAR_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
if(BUILD_SHARED_LIBS)
    set(MELNAR_PC_DEFINITION " -DMELNAR_SHARED")
else()
    set(MELNAR_PC_LIBRARIES " -lstdc++") # for programs that a compiler for C links
endif()
configure_file(cmake/melnar.pc.in ${PROJECT_BINARY_DIR}/melnar.pc @ONLY)

install(
    FILES ${PROJECT_BINARY_DIR}/MelnarConfig.cmake ${PROJECT_BINARY_DIR}/MelnarConfigVersion.cmake
    DESTINATION ${packageDirectory} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/melnar.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

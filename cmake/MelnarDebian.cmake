# Packages for Debian, which cpack makes of a finished build; docs/packages.md describes them. Version, maintainer and
# date are those of the newest entry of cmake/debian/changelog.

# The folders of other prefixes are not those of packages.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(CPACK_GENERATOR DEB)
    set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/MelnarNoPackages.cmake)
    include(CPack)
    return()
endif()

set(debian ${CMAKE_CURRENT_LIST_DIR}/debian)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${debian}/changelog)
file(STRINGS ${debian}/changelog changelogEntry LIMIT_COUNT 1)
file(STRINGS ${debian}/changelog changelogTrailer LIMIT_COUNT 1 REGEX "^ -- ")
if(NOT changelogEntry MATCHES "^melnar \\(([0-9.]+)-([0-9]+)\\)" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
    message(FATAL_ERROR "The version is ${PROJECT_VERSION}, but the newest entry of ${debian}/changelog is "
                        "'${changelogEntry}'.")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})
string(REGEX REPLACE "^ -- (.*>)  .*" "\\1" CPACK_PACKAGE_CONTACT "${changelogTrailer}")

set(CPACK_PACKAGE_NAME melnar)
set(CPACK_DEBIAN_PACKAGE_SOURCE melnar)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/MelnarDebianDocuments.cmake)

# melnar_package(COMPONENT NAME SECTION MULTI_ARCH DESCRIPTION): a package of what is installed as COMPONENT. MULTI_ARCH
# is "no" or the value of that field, for which CPack 3.25 has no variable: it comes after the section instead.
macro(melnar_package COMPONENT NAME SECTION MULTI_ARCH DESCRIPTION)
    list(APPEND CPACK_COMPONENTS_ALL ${COMPONENT})
    string(TOUPPER ${COMPONENT} component)
    set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${NAME})
    set(CPACK_DEBIAN_${component}_PACKAGE_SECTION ${SECTION})
    if(NOT "${MULTI_ARCH}" STREQUAL no)
        string(APPEND CPACK_DEBIAN_${component}_PACKAGE_SECTION "\nMulti-Arch: ${MULTI_ARCH}")
    endif()
    set(CPACK_COMPONENT_${component}_DESCRIPTION "${DESCRIPTION}")
endmacro()

set(about "Melnar's string dictionary gives strings, and the other terms of RDF, dense
numeric IDs and gives the strings of IDs back, for any number of threads
concurrently. It offers lookups as of a commit point, rollback, compaction
and crash-safe files.
")

if(BUILD_SHARED_LIBS)
    melnar_package(libraries libmelnar${MELNAR_SOVERSION} libs same "string dictionary and RDF reader - shared libraries
${about}
This package contains the shared libraries of the dictionary and of the
reader of N-Triples, N-Quads, Turtle and TriG.")
    set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
        "libmelnar${MELNAR_SOVERSION} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
    # CPack would add scripts that call ldconfig, which the trigger does. It adds none if it is told of others, and only
    # warns if those do not exist.
    set(control ${debian}/${CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME})
    configure_file(${control}/shlibs.in ${PROJECT_BINARY_DIR}/debian/shlibs @ONLY)
    set(CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA
        ${PROJECT_BINARY_DIR}/debian/shlibs ${control}/triggers ${control}/none/postinst ${control}/none/postrm)
endif()

melnar_package(development libmelnar-dev libdevel same "string dictionary and RDF reader - development files
${about}
This package contains what programs in C++ and C are compiled with: headers,
the files of the libraries for the linker, and those for CMake and pkg-config.")

if(TARGET melnar-dict)
    melnar_package(tool melnar-tools utils foreign "gives the terms of RDF files numeric IDs
${about}
This package contains melnar-dict, which loads N-Triples, N-Quads, Turtle and
TriG, compressed or not, with all cores. It writes a dictionary, and the
statements as rows of IDs for NumPy. It answers lookups in both directions,
turns rows into statements again, and checks RDF files and dictionaries.")
    set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "melnar-tools-mpi, python3-melnar")
endif()

if(TARGET melnar-dict-mpi)
    melnar_package(mpi melnar-tools-mpi utils no "gives the terms of RDF files numeric IDs, with several processes
${about}
This package contains melnar-dict-mpi, which loads folders of RDF files with
several processes, on one machine or several, which Open MPI connects.")
    set(CPACK_DEBIAN_MPI_PACKAGE_DEPENDS openmpi-bin)
    set(CPACK_DEBIAN_MPI_PACKAGE_RECOMMENDS melnar-tools)
endif()

if(TARGET melnar-python AND EXISTS /usr/share/numpy3/versions) # of Debian's NumPy
    melnar_package(python python3-melnar python no "string dictionary for Python 3
${about}
This package contains the module melnar, which works on arrays of NumPy and on
columns of Arrow, and loads RDF.")
    # What dh_python3 and dh_numpy3 would say: no other version of Python can load the module.
    math(EXPR nextMinor "${MELNAR_PYTHON_MINOR} + 1")
    file(STRINGS /usr/share/numpy3/versions numpyVersions)
    string(REGEX MATCH "abi ([0-9]+)" numpyABI "${numpyVersions}")
    set(numpyABI ${CMAKE_MATCH_1})
    string(REGEX MATCH "api-min-version ([0-9:.]+)" numpyVersion "${numpyVersions}")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "python3 (>= 3.${MELNAR_PYTHON_MINOR}~), python3 (<< 3.${nextMinor})"
        "python3-numpy (>= ${CMAKE_MATCH_1}), python3-numpy-abi${numpyABI}")
    list(JOIN CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS ", " CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${debian}/python3-melnar/postinst ${debian}/python3-melnar/prerm)
endif()

include(CPack)

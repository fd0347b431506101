# Packages for Debian, which cpack makes of a finished build: the tool, the program of several processes, which alone needs
# Open MPI, and the libraries for those who compile with them. docs/packages.md tells how.

set(CPACK_PACKAGE_CONTACT "root <root@localhost>" CACHE STRING "Who is to be asked about the packages")
set(CPACK_PACKAGE_NAME melnar)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL development)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libmelnar-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "String dictionary and RDF reader, static libraries and headers")

if(TARGET melnar-dict)
    list(APPEND CPACK_COMPONENTS_ALL tool)
    set(CPACK_DEBIAN_TOOL_PACKAGE_NAME melnar-dict)
    set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
    set(CPACK_COMPONENT_TOOL_DESCRIPTION "Gives the terms of RDF files resource IDs")
endif()

if(TARGET melnar-dict-mpi)
    list(APPEND CPACK_COMPONENTS_ALL mpi)
    set(CPACK_DEBIAN_MPI_PACKAGE_NAME melnar-dict-mpi)
    set(CPACK_DEBIAN_MPI_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_MPI_PACKAGE_SHLIBDEPS ON)
    set(CPACK_DEBIAN_MPI_PACKAGE_DEPENDS openmpi-bin)
    set(CPACK_DEBIAN_MPI_PACKAGE_RECOMMENDS melnar-dict)
    set(CPACK_COMPONENT_MPI_DESCRIPTION "Gives the terms of RDF files resource IDs, with several processes")
endif()

include(CPack)

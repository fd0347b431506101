# Run by cpack when the files of all packages are in place: adds the documents that Debian expects in each package, and
# compresses them and the manual pages. The changelog also tells the time of the files, so that equal builds make equal
# packages.

set(debian ${CMAKE_CURRENT_LIST_DIR}/debian)
execute_process(
    COMMAND dpkg-parsechangelog -l ${debian}/changelog -S Timestamp
    OUTPUT_VARIABLE timestamp OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(ENV{SOURCE_DATE_EPOCH} ${timestamp})
set(ENV{DESTDIR} "") # that of the last package

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} COMPONENT)
    set(package ${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME})
    set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
    file(INSTALL ${debian}/copyright DESTINATION ${share}/doc/${package})
    file(INSTALL ${debian}/changelog DESTINATION ${share}/doc/${package} RENAME changelog.Debian)
    file(INSTALL ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md DESTINATION ${share}/doc/${package} RENAME changelog)
    if(EXISTS ${debian}/${package}/lintian-overrides)
        file(INSTALL ${debian}/${package}/lintian-overrides DESTINATION ${share}/lintian/overrides RENAME ${package})
    endif()
    file(GLOB documents ${share}/doc/${package}/changelog* ${share}/man/*/*)
    execute_process(COMMAND gzip -9n ${documents} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

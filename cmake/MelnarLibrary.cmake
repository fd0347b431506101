# melnar_library(TARGET NAME SOURCES ... HEADERS ... INTERNAL_HEADERS ...): a library that others link as Melnar::NAME,
# shared if BUILD_SHARED_LIBS is on. The archive can become a part of any shared object; its symbols do not leave that.
# The shared library exports what the headers mark with MELNAR_EXPORT, and nothing else.
#
# HEADERS are installed, INTERNAL_HEADERS are not. The tool, the tests and the benchmarks use both and more symbols than
# the shared library exports: they link Melnar::NAMEInternals, which is an archive whatever Melnar::NAME is.

# Raised by every release that breaks programs which are linked with the one before; docs/interface.md.
set(MELNAR_SOVERSION 0)
set(MELNAR_EXPORTS_SCRIPT ${CMAKE_CURRENT_LIST_DIR}/exports.map)

function(melnar_library TARGET NAME)
    cmake_parse_arguments(PARSE_ARGV 2 library "" "" "SOURCES;HEADERS;INTERNAL_HEADERS")
    if(library_UNPARSED_ARGUMENTS OR library_KEYWORDS_MISSING_VALUES)
        message(FATAL_ERROR "melnar_library does not understand '${ARGN}'")
    endif()

    add_library(${TARGET} ${library_SOURCES})
    add_library(Melnar::${NAME} ALIAS ${TARGET})
    melnar_headers(${TARGET} ${library_HEADERS} ${library_INTERNAL_HEADERS})
    melnar_precompile_headers(${TARGET})
    target_compile_features(${TARGET} PUBLIC cxx_std_20)
    set_target_properties(
        ${TARGET} PROPERTIES
        EXPORT_NAME ${NAME}
        VERSION ${PROJECT_VERSION}
        SOVERSION ${MELNAR_SOVERSION}
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)

    if(BUILD_SHARED_LIBS)
        target_compile_definitions(${TARGET} PUBLIC MELNAR_SHARED)
        target_link_options(${TARGET} PRIVATE LINKER:--version-script=${MELNAR_EXPORTS_SCRIPT})
        set_target_properties(${TARGET} PROPERTIES LINK_DEPENDS ${MELNAR_EXPORTS_SCRIPT})
    endif()

    if(NOT BUILD_SHARED_LIBS)
        add_library(Melnar::${NAME}Internals ALIAS ${TARGET})
    elseif(MELNAR_BUILD_TOOL OR MELNAR_BUILD_TESTS OR MELNAR_BUILD_BENCHMARKS OR MELNAR_BUILD_FUZZERS)
        add_library(${TARGET}-internals STATIC $<TARGET_OBJECTS:${TARGET}>)
        set_target_properties(${TARGET}-internals PROPERTIES LINKER_LANGUAGE CXX)
        target_include_directories(${TARGET}-internals INTERFACE ${PROJECT_SOURCE_DIR})
        target_compile_features(${TARGET}-internals INTERFACE cxx_std_20)
        target_link_libraries(${TARGET}-internals INTERFACE $<TARGET_PROPERTY:${TARGET},INTERFACE_LINK_LIBRARIES>)
        add_library(Melnar::${NAME}Internals ALIAS ${TARGET}-internals)
    endif()

    if(MELNAR_INSTALL)
        target_include_directories(${TARGET} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/melnar>)
        foreach(header IN LISTS library_HEADERS)
            file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${header})
            get_filename_component(folder "${path}" DIRECTORY)
            install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/melnar/${folder} COMPONENT development)
        endforeach()
    endif()
endfunction()

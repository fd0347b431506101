# melnar_headers(TARGET HEADERS...): offers the repository root as include root to those who use TARGET. When
# MELNAR_CHECK_HEADERS is on, every full build compiles each of the headers alone; `header-check` does only that.

function(melnar_headers TARGET)
    if(NOT TARGET ${TARGET} OR NOT ARGN)
        message(FATAL_ERROR "melnar_headers needs a target and at least one header, but got '${TARGET}' '${ARGN}'")
    endif()
    target_include_directories(${TARGET} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
    if(MELNAR_CHECK_HEADERS)
        # In a target of its own: a file set in TARGET would be exported, and not every CMake that reads the package
        # knows file sets.
        add_library(${TARGET}-headers INTERFACE)
        target_sources(
            ${TARGET}-headers INTERFACE FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
        target_link_libraries(${TARGET}-headers INTERFACE ${TARGET})
        set_target_properties(${TARGET}-headers PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
    endif()
endfunction()

if(MELNAR_CHECK_HEADERS)
    # The verifying targets exist only once CMake generates; their sum has a name of its own then.
    add_custom_target(header-check ALL)
    add_dependencies(header-check all_verify_interface_header_sets)
endif()

# melnar_headers(TARGET HEADERS...): makes the headers part of TARGET's interface, with the repository root as include
# root. When MELNAR_CHECK_HEADERS is on, every full build compiles each of them alone; `header-check` does only that.

function(melnar_headers TARGET)
    if(NOT TARGET ${TARGET} OR NOT ARGN)
        message(FATAL_ERROR "melnar_headers needs a target and at least one header, but got '${TARGET}' '${ARGN}'")
    endif()
    target_sources(${TARGET} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
    set_target_properties(${TARGET} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ${MELNAR_CHECK_HEADERS})
endfunction()

if(MELNAR_CHECK_HEADERS)
    # The verifying targets exist only once CMake generates; their sum has a name of its own then.
    add_custom_target(header-check ALL)
    add_dependencies(header-check all_verify_interface_header_sets)
endif()

# Warnings for everything that is compiled below the including directory. They stay out of the targets' interfaces:
# a consumer of the installed library chooses its own.

add_compile_options(
    -Wall
    -Wextra
    -Wpedantic
    -Wcast-align
    -Wconversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
    -Wnull-dereference
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    -Wshadow
    -Wsign-conversion
    -Wundef
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wduplicated-cond>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wlogical-op>
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wextra-semi>
    $<$<BOOL:${MELNAR_WARNINGS_AS_ERRORS}>:-Werror>)

# Warnings for everything that is compiled below the including directory. They stay out of the targets' interfaces:
# a consumer of the installed library chooses its own.

add_compile_options(
    -Wall
    -Wextra
    -Wpedantic
    -Wcast-align
    -Wconversion
    -Wnon-virtual-dtor
    -Wnull-dereference
    -Wold-style-cast
    -Woverloaded-virtual
    -Wshadow
    -Wsign-conversion
    -Wundef
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond>
    $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op>
    $<$<CXX_COMPILER_ID:Clang>:-Wextra-semi>
    $<$<BOOL:${MELNAR_WARNINGS_AS_ERRORS}>:-Werror>)

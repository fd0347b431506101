#!/usr/bin/env bash
# test-consumer.sh BUILD_DIRECTORY WAY
#
# Builds programs of tests/consumer against the libraries of a finished build, as users would who found them in the given
# WAY, and runs them. The way `guides` types the commands of docs/guides, which build and run the examples. CXX and CXXFLAGS must be those of the build, since a sanitizer is a matter of the whole program.
set -euo pipefail

build=$(realpath "$1")
way=$2
root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
consumer=$root/tests/consumer
scratch=$build/consumer/$way
prefix=$scratch/prefix
shared_build=$build/consumer/shared-build # kept, so that it need not be compiled again
rm -rf "$scratch"
mkdir -p "$scratch"
read -ra user_flags <<<"${CXXFLAGS:-}"

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

install_libraries() { # BUILD_DIRECTORY
    cmake --install "$1" --prefix "$prefix" --component libraries
    cmake --install "$1" --prefix "$prefix" --component development
    library_directory=$(dirname "$(find "$prefix" -name 'libmelnar-engine.*' -print -quit)")
}

build_with_cmake() { # SOURCE_DIRECTORY OPTION...
    cmake -S "$1" -B "$scratch/build" -G Ninja -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF "${@:2}"
    cmake --build "$scratch/build"
    "$scratch/build/consumer"
}

compile() { # OUTPUT ARGUMENT...
    "${CXX:-g++}" -std=c++20 "${user_flags[@]}" -o "$@"
}

compile_with_pkg_config() {
    PKG_CONFIG_PATH=$library_directory/pkgconfig
    export PKG_CONFIG_PATH
    read -ra flags <<<"$(pkg-config --cflags melnar)"
    read -ra libraries <<<"$(pkg-config --libs melnar)"
    compile "$scratch/consumer" "${flags[@]}" "$consumer/main.cpp" "${libraries[@]}"
}

# What stands after the libraries' folder on a linker's command line, in the order in which everybody writes it.
by_hand=(-lmelnar-engine -lmelnar-reader -pthread)

case $way in
install-tree)
    install_libraries "$build"
    build_with_cmake "$consumer" "-DCMAKE_PREFIX_PATH=$prefix"
    # No header that is installed needs one that is not, and what the documents call public is installed.
    while IFS= read -r header; do
        [ -f "$prefix/include/melnar/$header" ] || fail "$header is not installed, but an installed header needs it"
    done < <(find "$prefix/include" -name '*.h' -exec sed -n 's/^#include "\(.*\)"$/\1/p' {} + | sort -u)
    while IFS= read -r header; do
        find "$prefix/include" -path "*/$header" | grep -q . || fail "$header is not installed, but called public"
    done < <(sed -n '/^## Public headers/,/^## What/p' "$root/docs/interface.md" | grep -o '[A-Za-z0-9/-]*\.h' | sort -u)
    ;;
build-tree)
    build_with_cmake "$consumer" "-DCMAKE_PREFIX_PATH=$build"
    ;;
oldest-cmake)
    install_libraries "$build"
    cmake -S "$consumer/oldest-cmake" -B "$scratch/refused" -G Ninja "-DCMAKE_PREFIX_PATH=$prefix" -DVERSION=3.11.4 \
        -DEXPECTED=0
    build_with_cmake "$consumer/oldest-cmake" "-DCMAKE_PREFIX_PATH=$prefix" -DVERSION=3.12.0 -DEXPECTED=1
    ;;
pkg-config)
    install_libraries "$build"
    compile_with_pkg_config
    "$scratch/consumer" | tee "$scratch/output"
    "${CC:-gcc}" -std=c11 "${user_flags[@]}" -o "$scratch/consumer-c" "${flags[@]}" "$consumer/main.c" "${libraries[@]}"
    "$scratch/consumer-c"
    [ "$(sed -n 's/^version //p' "$scratch/output")" = "$(pkg-config --modversion melnar)" ] || fail "versions differ"
    ;;
by-hand)
    install_libraries "$build"
    compile "$scratch/consumer" -I"$prefix/include/melnar" "$consumer/main.cpp" -L"$library_directory" "${by_hand[@]}"
    "$scratch/consumer"
    ;;
collisions)
    install_libraries "$build"
    compile "$scratch/consumer" -I"$prefix/include/melnar" "$consumer/collisions/main.cpp" -L"$library_directory" \
        "${by_hand[@]}"
    "$scratch/consumer"
    ;;
plugins)
    install_libraries "$build"
    compile "$scratch/host" "$consumer/plugins/host.cpp" -pthread -ldl
    compile_plugin() { # NAME FLAG...
        compile "$scratch/$1.so" -fPIC -shared "${@:2}" -I"$prefix/include/melnar" "$consumer/plugins/plugin.cpp" \
            -L"$library_directory" "${by_hand[@]}"
    }
    compile_plugin plain
    compile_plugin hidden -fvisibility=hidden -fvisibility-inlines-hidden
    cp "$scratch/plain.so" "$scratch/plain-copy.so"
    cp "$scratch/hidden.so" "$scratch/hidden-copy.so"
    for scope in local global; do
        "$scratch/host" $scope "$scratch/plain.so" "$scratch/plain-copy.so"
        "$scratch/host" $scope "$scratch/hidden.so" "$scratch/hidden-copy.so"
    done

    # The archive adds no symbol to what a plugin exports; the headers add weak ones unless the plugin hides them.
    strong=$(nm -D --defined-only "$scratch/plain.so" | awk '$2 !~ /[VWu]/ {print $3}' | sort | xargs)
    all=$(nm -D --defined-only "$scratch/hidden.so" | awk '$3 !~ /^_Z(Z|GVZ?|T[ISV])?N?K?(S|9__gnu_cxx)/ {print $3}' | sort | xargs)
    expected="countResources getStringFactory refuseText resolveText"
    [ "$strong" = "$expected" ] || fail "the plugin exports '$strong'"
    [ "$all" = "$expected" ] || fail "the plugin that hides its inline functions exports '$all'"
    ;;
subproject)
    if cmake -S "$consumer/subproject" -B "$scratch/without-xxhash" -G Ninja -DMELNAR_SOURCE="$root" \
        -DHIDE_SYSTEM_HEADERS=ON 2>"$scratch/message"; then
        fail "a missing xxhash.h is no error"
    fi
    grep -qw libxxhash-dev "$scratch/message" || fail "$(cat "$scratch/message")"
    rm -f "$shared_build/CMakeCache.txt"
    CXXFLAGS="${CXXFLAGS:-} -O0" cmake -S "$consumer/subproject" -B "$shared_build" -G Ninja -DMELNAR_SOURCE="$root" \
        -DBUILD_SHARED_LIBS=ON
    cmake --build "$shared_build"
    "$shared_build/consumer"
    cmake --install "$shared_build" --prefix "$prefix"
    [ ! -e "$prefix" ] || fail "a subproject installs $(find "$prefix" -type f)"
    [ ! -e "$shared_build/CPackConfig.cmake" ] || fail "a subproject makes packages"
    ;;
guides)
    # With the compiler and the flags of the build. One build, kept like shared_build, stands in for that of each guide,
    # which differs in optimisation and prefix alone; the folders of the finished build may be those of packages.
    library=$build/consumer/library
    CXXFLAGS="${CXXFLAGS:-} -O0" cmake -S "$root" -B "$library" -G Ninja -DMELNAR_BUILD_TOOL=OFF
    cmake --build "$library"
    mkdir "$scratch/bin"
    printf '#!/bin/sh\nexec %s %s "$@"\n' "${CXX:-g++}" "${CXXFLAGS:-}" >"$scratch/bin/g++"
    chmod +x "$scratch/bin/g++"
    for guide in "$root"/docs/guides/*.md; do
        home=$scratch/$(basename "$guide" .md)
        mkdir "$home"
        cmake --install "$library" --prefix "$home/melnar"
        commands=$(sed -n '/^```sh$/,/^```$/{/^```/d;p}' "$guide" | grep -v '^apt-get \|build/library')
        (cd "$root" && HOME=$home PATH=$scratch/bin:$PATH bash -euxc "$commands")
    done
    ;;
shared)
    # What the test of the subproject has compiled, installed.
    cmake -S "$consumer/subproject" -B "$shared_build" -DMELNAR_INSTALL=ON
    cmake --build "$shared_build"
    install_libraries "$shared_build"
    for library in engine reader; do
        file=$library_directory/libmelnar-$library.so
        objdump -p "$file" | grep -qE "SONAME +libmelnar-$library\.so\.[0-9]+$" || fail "$file has no soname"
        /usr/bin/python3 "$root/scripts/check-exports.py" "$file" "$prefix/include/melnar"
    done
    build_with_cmake "$consumer" "-DCMAKE_PREFIX_PATH=$prefix"
    compile_with_pkg_config
    LD_LIBRARY_PATH=$library_directory "$scratch/consumer"
    ;;
*)
    echo "unknown way to find the libraries: $way" >&2
    exit 2
    ;;
esac

#!/usr/bin/env bash
# test-consumer.sh BUILD_DIRECTORY install-tree|build-tree|pkg-config
#
# Builds tests/consumer against the engine of a finished build, found in the given way, and runs it. CXX and CXXFLAGS
# must be those of the build, since a sanitizer is a matter of the whole program.
set -euo pipefail

build=$(realpath "$1")
offer=$2
consumer=$(realpath "$(dirname "${BASH_SOURCE[0]}")/../tests/consumer")
scratch=$build/consumer/$offer
rm -rf "$scratch"
mkdir -p "$scratch"

build_with_cmake() { # PREFIX_OR_PACKAGE_DIRECTORY
    cmake -S "$consumer" -B "$scratch/build" -G Ninja "-DCMAKE_PREFIX_PATH=$1" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    cmake --build "$scratch/build"
    program=$scratch/build/consumer
}

case $offer in
install-tree)
    cmake --install "$build" --prefix "$scratch/prefix"
    build_with_cmake "$scratch/prefix"
    ;;
build-tree)
    build_with_cmake "$build"
    ;;
pkg-config)
    cmake --install "$build" --prefix "$scratch/prefix"
    PKG_CONFIG_PATH=$(dirname "$(find "$scratch/prefix" -name melnar.pc)")
    export PKG_CONFIG_PATH
    program=$scratch/consumer
    read -ra flags <<<"${CXXFLAGS:-} $(pkg-config --cflags melnar)"
    read -ra libraries <<<"$(pkg-config --libs melnar)"
    "${CXX:-g++}" -std=c++20 "${flags[@]}" -o "$program" "$consumer/main.cpp" "${libraries[@]}"
    ;;
*)
    echo "unknown way to find the engine: $offer" >&2
    exit 2
    ;;
esac

"$program"

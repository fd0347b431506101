#!/usr/bin/env bash
# test-packages.sh BUILD_DIRECTORY HAS_MPI
#
# Makes the packages of a finished build, and checks that each has what is its own, and that melnar-dict-mpi, which is
# there if HAS_MPI is 1, alone needs Open MPI.
set -euo pipefail

build=$(realpath "$1")
has_mpi=$2
scratch=$build/packages-test
rm -rf "$scratch"
mkdir "$scratch"
cd "$scratch"
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$scratch" >/dev/null

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

for file in *.deb; do
    package=$(dpkg-deb --field "$file" Package)
    dpkg-deb --contents "$file" | sed 's/.* \.\//\//; /\/$/d' >"$package.files"
    dpkg-deb --field "$file" Depends | sed 's/ ([^)]*)//g; s/, /\n/g' >"$package.depends"
done

expect_file() { # PACKAGE FILE
    grep -qxF "$2" "$1.files" || fail "$1 has no $2"
}

expect_no_file() { # PACKAGE PATTERN
    ! grep -E "$2" "$1.files" || fail "$1 has what is not its own"
}

expect_need() { # PACKAGE PACKAGE
    grep -qxF "$2" "$1.depends" || fail "$1 does not need $2"
}

packages=(libmelnar-dev melnar-dict)
expect_file melnar-dict /usr/bin/melnar-dict
expect_file melnar-dict /usr/share/man/man1/melnar-dict-load.1
expect_file melnar-dict /usr/share/bash-completion/completions/melnar-dict
expect_no_file melnar-dict 'mpi|\.a$|\.h$'
expect_need melnar-dict libstdc++6
! grep mpi ./*dict.depends ./*dev.depends || fail "more than melnar-dict-mpi needs Open MPI"
expect_file libmelnar-dev /usr/include/melnar/Engine/core/data-store/Dictionary.h
expect_no_file libmelnar-dev '/bin/|/man/'

if [ "$has_mpi" = 1 ]; then
    packages+=(melnar-dict-mpi)
    expect_file melnar-dict-mpi /usr/bin/melnar-dict-mpi
    expect_file melnar-dict-mpi /usr/share/man/man1/melnar-dict-mpi-load.1
    expect_file melnar-dict-mpi /usr/share/man/man1/melnar-dict-mpi-encode.1
    ! grep -v '/melnar-dict-mpi[^/]*$' melnar-dict-mpi.files || fail "melnar-dict-mpi has what is not its own"
    expect_need melnar-dict-mpi libopenmpi3
    expect_need melnar-dict-mpi openmpi-bin
fi

made=$(printf '%s\n' *.depends | sed 's/\.depends$//' | sort)
[ "$made" = "$(printf '%s\n' "${packages[@]}" | sort)" ] || fail "the packages are $made"
echo "packages: ${packages[*]}"

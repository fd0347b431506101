#!/usr/bin/env bash
# test-packages.sh BUILD_DIRECTORY FOLDER PACKAGE...
#
# Makes the packages of a finished build in FOLDER. Checks that they are those PACKAGEs, that each has what is its own
# and depends on what it needs, and that melnar-tools-mpi alone needs Open MPI. Other builds must refuse to make packages.
set -euo pipefail

root=$(realpath "$(dirname "${BASH_SOURCE[0]}")/..")
build=$(realpath "$1")
mkdir -p "$2"
cd "$2"
packages=("${@:3}")

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

rm -f ./*.deb
cpack --config "$build/CPackConfig.cmake" -G DEB -B "$PWD" >cpack.log 2>&1 || fail "$(cat cpack.log)"
rm -rf _CPack_Packages
declare -A files relations control
for file in *.deb; do
    package=$(dpkg-deb --field "$file" Package)
    files[$package]=$(dpkg-deb --fsys-tarfile "$file" | tar -t | sed -n 's/^\.\(.*[^/]\)$/\1/p')
    relations[$package]=$(dpkg-deb --field "$file" Depends | sed 's/, /\n/g')
    control[$package]=$(dpkg-deb --field "$file")
done
made=$(printf '%s\n' "${!files[@]}" | sort | xargs)
[ "$made" = "$(printf '%s\n' "${packages[@]}" | sort | xargs)" ] || fail "the packages are $made"

expect() { # PACKAGE FILE...
    local file
    for file in "${@:2}"; do
        grep -qxF "$file" <<<"${files[$1]}" || fail "$1 has no $file"
    done
}

expect_only() { # PACKAGE PATTERN   of all files but the documents that each package has
    ! grep -vE "^(/usr/share/(doc|lintian)/|$2)" <<<"${files[$1]}" || fail "$1 has what is not its own"
}

expect_dependency() { # PACKAGE PATTERN...
    local pattern
    for pattern in "${@:2}"; do
        grep -qxE "$pattern" <<<"${relations[$1]}" || fail "$1 does not depend on $pattern, but on ${relations[$1]}"
    done
}

expect_field() { # PACKAGE LINE...
    local line
    for line in "${@:2}"; do
        grep -qxF "$line" <<<"${control[$1]}" || fail "$1 has no field $line"
    done
}

expect_member() { # PACKAGE FILE_OF_CONTROL TEXT
    diff <(dpkg-deb --info "$1"_*.deb "$2") <(printf '%s\n' "$3") || fail "$1 has another $2"
}

version=$(dpkg-parsechangelog -l "$root/cmake/debian/changelog" -S Version)
release=${version%-*}
libraries=/usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)
for package in "${packages[@]}"; do
    documents=/usr/share/doc/$package
    expect "$package" "$documents/copyright" "$documents/changelog.Debian.gz" "$documents/changelog.gz"
    expect_field "$package" "Version: $version" "Source: melnar" "Priority: optional"
    case $package in
    libmelnar[0-9]*)
        for library in engine reader; do
            expect "$package" "$libraries/libmelnar-$library.so.${package#libmelnar}" \
                "$libraries/libmelnar-$library.so.$release"
        done
        expect_only "$package" "$libraries/libmelnar-[a-z]+\.so\.[0-9.]+$"
        expect_dependency "$package" 'libstdc\+\+6 .*'
        expect_field "$package" "Section: libs" "Multi-Arch: same"
        expect_member "$package" shlibs \
            "$(printf "libmelnar-%s ${package#libmelnar} $package (>= $release)\n" engine reader)"
        expect_member "$package" triggers "activate-noawait ldconfig"
        ! dpkg-deb --info "$package"_*.deb | grep -E 'postinst|postrm' || fail "$package has scripts beside its trigger"
        expect_dependency libmelnar-dev "$package \(= $version\)"
        expect libmelnar-dev "$libraries/libmelnar-engine.so" "$libraries/libmelnar-reader.so"
        ;;
    libmelnar-dev)
        expect "$package" /usr/include/melnar/Melnar.h /usr/include/melnar/melnar.h \
            /usr/include/melnar/Engine/core/data-store/Dictionary.h \
            "$libraries/cmake/Melnar/MelnarConfig.cmake" "$libraries/pkgconfig/melnar.pc"
        expect_only "$package" "/usr/include/melnar/.*\.h$|$libraries/(cmake/|pkgconfig/|libmelnar-[a-z]+\.(a|so)$)"
        expect_field "$package" "Section: libdevel" "Multi-Arch: same"
        ;;
    melnar-tools)
        expect "$package" /usr/bin/melnar-dict /usr/share/man/man1/melnar-dict.1.gz \
            /usr/share/man/man1/melnar-dict-load.1.gz /usr/share/bash-completion/completions/melnar-dict \
            /usr/share/zsh/vendor-completions/_melnar-dict /usr/share/fish/vendor_completions.d/melnar-dict.fish
        expect_only "$package" "/usr/(bin|share/man/man1|share/.*completions(\.d)?)/_?melnar-dict[^/]*$"
        expect_dependency "$package" 'libstdc\+\+6 .*' 'libisal2 .*'
        expect_field "$package" "Section: utils" "Multi-Arch: foreign"
        ;;
    melnar-tools-mpi)
        expect "$package" /usr/bin/melnar-dict-mpi /usr/share/man/man1/melnar-dict-mpi-load.1.gz \
            /usr/share/man/man1/melnar-dict-mpi-encode.1.gz
        expect_only "$package" "/usr/(bin|share/man/man1)/melnar-dict-mpi[^/]*$"
        expect_dependency "$package" openmpi-bin 'libopenmpi3 .*'
        expect_field "$package" "Section: utils" "Recommends: melnar-tools"
        ;;
    python3-melnar)
        modules=/usr/lib/python3/dist-packages
        expect "$package" $modules/melnar/{__init__.py,__init__.pyi,_types.py,py.typed} \
            "$modules/melnar-$release.dist-info/METADATA"
        expect_only "$package" "$modules/melnar(/|-$release\.dist-info/METADATA$)"
        minor=$(sed -n 's/.*\/_native\.cpython-3\([0-9]*\)-.*\.so$/\1/p' <<<"${files[$package]}")
        expect_dependency "$package" "python3 \(>= 3\.$minor~\)" "python3 \(<< 3\.$((minor + 1))\)" \
            'python3-numpy \(>= .*\)' 'python3-numpy-abi[0-9]+' 'libisal2 .*'
        expect_field "$package" "Section: python"
        ;;
    *)
        fail "what is in $package?"
        ;;
    esac
    [ "$package" = melnar-tools-mpi ] || ! grep mpi <<<"${relations[$package]}" || fail "$package needs Open MPI"
done

cmake -S "$root" -B refusing-build -DCMAKE_INSTALL_PREFIX=/usr/local -DMELNAR_BUILD_TOOL=OFF >/dev/null
! cpack --config refusing-build/CPackConfig.cmake -B "$PWD" >refusal 2>&1 || fail "cpack takes a build for /usr/local"
grep -q -- 'cmake --preset packages' refusal || fail "$(cat refusal)"
echo "packages: ${packages[*]}"

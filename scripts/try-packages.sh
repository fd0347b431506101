#!/usr/bin/env bash
# try-packages.sh FOLDER
#
# Installs the packages in FOLDER in a fresh Debian 12, each with what it depends on and nothing else, uses them and
# removes them. Needs root, and a network for what they depend on, which comes from where this machine gets its own
# packages. The fresh Debian 12 stays below build/ for the next time. Nothing is mounted in it, so this works in a
# container, too.
set -euo pipefail

packages=$(realpath "$1")
cd "$(dirname "$(realpath "${BASH_SOURCE[0]}")")/.."
debian=$PWD/build/debian-12
root=$debian/root

fail() {
    printf '%s\n' "$*" >&2
    exit 1
}

quietly() { # COMMAND...
    "$@" >"$debian/log" 2>&1 || fail "$(cat "$debian/log")" "This failed: $*"
}

make_bare_debian() {
    mkdir -p "$debian"
    chmod 700 "$debian" # the settings of apt may have a password
    quietly apt-get update
    apt-config dump Acquire >"$debian/apt.conf"
    # shellcheck disable=SC2016 # apt-get knows these, not the shell
    apt-get indextargets --format 'deb $(REPO_URI) $(CODENAME) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
        sort -u >"$debian/sources.list"
    quietly mmdebstrap --variant=minbase --include=ca-certificates --mode=root --aptopt="$debian/apt.conf" bookworm "$debian/new.tar" \
        "$debian/sources.list"
    mv "$debian/new.tar" "$debian/bare.tar"
}

# Runs a command line of a shell in Debian, in the folder that has this script's files, which are nowhere else.
try() { # COMMAND_LINE
    quietly env -i DEBIAN_FRONTEND=noninteractive HOME=/root LC_ALL=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin \
        chroot "$root" sh -euc "cd /try && $1"
}

install() { # PACKAGE...
    try "apt-get install --yes --no-install-recommends $*"
}

# Removes packages with what was installed for them, and checks that nothing stays.
purge() { # PACKAGE...
    try "apt-get purge --yes --autoremove $*"
    local left
    left=$(find "$root" -path "$root/try" -prune -o -name '*melnar*' -print)
    [ -z "$left" ] || fail "apt-get purge $* left" "$left"
}

[ -e "$debian/bare.tar" ] || make_bare_debian
trap 'rm -rf "$root"; chown -R --reference=. "$debian"' EXIT # so that who owns this folder can remove it
rm -rf "$root"
mkdir "$root"
tar -C "$root" -xf "$debian/bare.tar"
mkdir "$root/try"
cp /etc/resolv.conf "$root/etc"
cp -r docs/python.md tests/consumer "$root/try"
for file in "$packages"/*.deb; do
    cp "$file" "$root/try/$(dpkg-deb --field "$file" Package).deb"
done
cat >"$root/try/dump.nt" <<'TEXT'
<urn:Germany> <urn:label> "Germany" .
<urn:Germany> <urn:label> "Deutschland"@de .
TEXT
try "apt-get update"

echo "python3-melnar runs the examples of docs/python.md"
install ./python3-melnar.deb
try "test -e /usr/lib/python3/dist-packages/melnar/__pycache__/__init__.*.pyc"
try "python3 -m doctest -o ELLIPSIS python.md"
try "python3 -c 'import melnar, importlib.metadata as m; assert m.version(\"melnar\") == melnar.__version__'"
purge python3-melnar

echo "melnar-tools and melnar-tools-mpi load a file and look terms up"
install ./melnar-tools.deb
try "melnar-dict load dump.nt -o dump.dict"
try "test \"\$(melnar-dict lookup dump.dict '\"Deutschland\"@de')\" = '4	\"Deutschland\"@de'"
try "zcat /usr/share/man/man1/melnar-dict-load.1.gz | grep '^\.TH MELNAR-DICT-LOAD 1'"
try "melnar-dict load dump.nt --shards -o expected.shards"
install ./melnar-tools-mpi.deb
try "OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 mpirun --oversubscribe \
    --mca btl_vader_single_copy_mechanism none -n 2 melnar-dict-mpi load dump.nt -o dump.shards"
try "diff -r expected.shards dump.shards"
purge melnar-tools melnar-tools-mpi

echo "libmelnar-dev compiles programs in C++ and C, with CMake and with pkg-config, that libmelnar0 runs"
install ./libmelnar0.deb ./libmelnar-dev.deb g++ cmake make pkg-config
try "cmake -S consumer -B cmake && cmake --build cmake && cmake/consumer"
try "g++ -std=c++20 consumer/main.cpp -o cpp \$(pkg-config --cflags --libs melnar) && ./cpp"
try "gcc -std=c11 consumer/main.c -o c \$(pkg-config --cflags --libs melnar) && ./c"
try "apt-get purge --yes --autoremove libmelnar-dev && cmake/consumer && ./cpp && ./c"
purge libmelnar0

echo "Nothing of the packages is left."

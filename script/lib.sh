# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# What the scripts share. Sourced with $program, the script's name for messages, set.

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
cd "$project" || exit
export DEBIAN_FRONTEND=noninteractive

die() {
    printf '%s: %s\n' "${program:?}" "$*" >&2
    exit 1
}

# Tells what comes next, where the output of other programs passes by.
announce() {
    printf '\n== %s\n' "$*"
}

need_root() {
    ((EUID == 0)) || die "needs root"
}

# Installs what debian/control asks for, unless all of it is there.
install_build_dependencies() {
    local plan
    if plan=$(apt-get --simulate --no-install-recommends build-dep ./ 2>&1) &&
        ! grep -q '^Inst ' <<<"$plan"; then
        return
    fi
    announce "Installing the build tools and libraries that debian/control lists"
    apt-get update || die "the package lists could not be fetched"
    apt-get --yes --no-install-recommends build-dep ./ ||
        die "the build dependencies could not be installed"
}

# Unpacks a Debian package into a directory, unless that is there. It is not installed: a daemon in
# it would be started, and a package more or less on the machine has the private host's layer made
# anew.
unpack_package() {
    local package=$1 directory=$2 new=$2.new
    [[ ! -d $directory ]] || return 0
    announce "Fetching $package"
    rm -rf "$new"
    mkdir -p "$new"
    # Where that is root, the lists of packages may be older than what they tell of.
    download_package "$package" "$new" || { apt-get update && download_package "$package" "$new"; } ||
        die "$package could not be had"
    dpkg-deb --extract "$new"/*.deb "$new" || die "$package could not be unpacked"
    mv "$new" "$directory"
}

download_package() {
    (cd "$2" && apt-get --option APT::Sandbox::User=root download "$1")
}

# Copies the sources into a directory, without what builds have made and what git keeps: a package is
# built from what lies in its directory.
copy_sources() {
    tar --create --exclude-vcs --exclude=./build --exclude=__pycache__ --exclude='*.mo' . |
        tar --extract --directory="$1"
}

# Whether there are packages in a directory, made from the sources as they are now. The source package
# is made first of all.
packages_are_fresh() {
    local source=("$1"/*.dsc)
    [[ -e ${source[0]} && -z $(find . \( -path ./build -o -path ./.git -o -name __pycache__ \) -prune \
        -o -newer "${source[0]}" -print -quit) ]]
}

# Builds one preset: all of it, or the targets given after its name.
build() {
    local preset=$1
    shift
    announce "Building build/$preset"
    cmake --preset "$preset" >/dev/null || die "the build could not be configured"
    cmake --build --preset "$preset" ${1+--target "$@"} || die "the build failed"
}

# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Functions that the scripts share. A script first sets $program to its name for messages.

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)
cd "$project" || exit
export DEBIAN_FRONTEND=noninteractive

die() {
    printf '%s: %s\n' "${program:?}" "$*" >&2
    exit 1
}

# Prints a heading between the output of other programs.
announce() {
    printf '\n== %s\n' "$*"
}

need_root() {
    ((EUID == 0)) || die "needs root"
}

# Installs the packages of debian/control's Build-Depends, if any is missing. With
# DEB_BUILD_PROFILES=nocheck apt-get leaves out what only tests and checks need.
install_build_dependencies() {
    local plan
    if plan=$(apt-get --simulate --no-install-recommends build-dep ./ 2>&1) &&
        ! grep -q '^Inst ' <<<"$plan"; then
        return
    fi
    announce "Installing build tools and libraries from debian/control"
    apt-get update || die "the package lists could not be fetched"
    apt-get --yes --no-install-recommends build-dep ./ ||
        die "the build dependencies could not be installed"
}

# Installs the package of a command, if the command is missing.
install_command() {
    ! command -v "$1" >/dev/null || return 0
    announce "Installing $2"
    { ((EUID == 0)) && apt-get --yes --no-install-recommends install "$2"; } ||
        die "$1 is missing: install $2"
}

# Makes a minimal Debian system of a release in a directory, from the network.
make_small_system() {
    local suite=$1 directory=$2
    install_command debootstrap debootstrap
    mkdir -p "$directory"
    debootstrap --variant=minbase "$suite" "$directory" || return
    # Packages must not start daemons there.
    printf '#!/bin/sh\nexit 101\n' >"$directory/usr/sbin/policy-rc.d"
    chmod 0755 "$directory/usr/sbin/policy-rc.d"
}

# Unpacks a Debian package into a directory, unless the directory exists. The package is not
# installed: that would start its daemons, and the private host's layer would be out of date.
unpack_package() {
    local package=$1 directory=$2 new=$2.new
    [[ ! -d $directory ]] || return 0
    announce "Fetching $package"
    rm -rf "$new"
    mkdir -p "$new"
    # The package lists may be out of date; root can update them.
    download_package "$package" "$new" || { apt-get update && download_package "$package" "$new"; } ||
        die "$package could not be fetched"
    dpkg-deb --extract "$new"/*.deb "$new" || die "$package could not be unpacked"
    mv "$new" "$directory"
}

download_package() {
    (cd "$2" && apt-get --option APT::Sandbox::User=root download "$1")
}

# Prints the time of this release in seconds, as in debian/changelog. dpkg-deb sets the times of newer
# files in a package to this time. It must be past, or the files would keep the times of the build.
release_time() {
    local time
    time=$(date --date="$(sed -n '/^ -- /{s/.*>  //p;q}' debian/changelog)" +%s) || return
    ((time <= $(date +%s))) || die "the time of the release in debian/changelog is in the future"
    echo "$time"
}

# Copies the sources into a directory, without build results and git's data. Packages are built
# there, since dpkg-buildpackage takes all files of its directory. The copies of two checkouts are the
# same: all have the same modes and times.
copy_sources() {
    local time
    time=$(release_time) || return
    tar --create --exclude-vcs --exclude=./build --exclude=__pycache__ --exclude='*.mo' \
        --mode=u=rwX,go=rX --mtime="@$time" . |
        tar --extract --preserve-permissions --directory="$1"
}

# Unpacks the sources of the last release into build/last-release, unless they are there. The last
# release is the version before this one in debian/changelog, at its last commit.
unpack_last_release() {
    local directory=build/last-release version commit
    version=$(sed -n 's/^keldoctl (\(.*\)) .*/\1/p' debian/changelog | sed -n 2p)
    # The commit that replaced the version; the one before is the release.
    commit=$(git log -1 --format=%H -S"project(keldoctl VERSION $version " -- CMakeLists.txt)
    [[ $commit ]] ||
        die "git's history lacks version $version; in a shallow clone, run git fetch --unshallow"
    commit=$(git rev-parse --verify "$commit^") || exit
    [[ ! -e $directory/build/$commit ]] || return 0
    rm -rf "$directory"
    mkdir -p "$directory/build"
    { git archive "$commit" | tar --extract --directory="$directory"; } ||
        die "the sources of version $version could not be unpacked"
    : >"$directory/build/$commit"
}

# Whether a directory holds packages that are newer than all sources. A change during the build
# makes them outdated: the Debian source package (.dsc) is made first, an RPM has the time of its source
# archive, and a collection the time at which its build began.
packages_are_fresh() {
    local source
    source=$(find "$1" -maxdepth 1 \( -name '*.dsc' -o -name '*.rpm' -o \
        -name 'keldo-keldoctl-*.tar.gz' \) -print -quit 2>/dev/null)
    [[ $source && -z $(find . \( -path ./build -o -path ./.git -o -name __pycache__ \) -prune \
        -o -newer "$source" -print -quit) ]]
}

# Builds a preset, or only the targets given after its name.
build() {
    local preset=$1
    shift
    announce "Building build/$preset"
    cmake --preset "$preset" >/dev/null || die "the build could not be configured"
    cmake --build --preset "$preset" ${1+--target "$@"} || die "the build failed"
}

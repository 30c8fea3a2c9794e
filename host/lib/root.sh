# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # names of common.sh
# Assembles the file tree of a private host in a new mount namespace.

# A tmpfs for everything that a host writes, visible only in its mount namespace.
readonly private=$work/private
readonly root=$private/root

# The directories that packages write to. Each gets its own overlay of the layers and the machine: one
# overlay of "/" is impossible, since the layer is inside "/" and the kernel refuses such overlaps.
# Each directory may also be a separate file system of the machine.
package_directories() {
    local directory
    for directory in bin etc lib lib64 sbin usr var; do
        [[ -d /$directory && ! -L /$directory ]] && echo "$directory"
    done
}

# Prints the lower directory for the machine's /DIRECTORY. If /DIRECTORY contains the project, and so
# the layer, it is first mounted by another overlay, so that the kernel sees no overlap.
machine_directory() {
    local directory=$1
    if [[ $project != "/$directory"/* ]]; then
        echo "/$directory"
        return
    fi
    mkdir -p "machine/$directory" empty
    mount -t overlay overlay -o "lowerdir=empty:/$directory" "machine/$directory"
    echo "machine/$directory"
}

# Mounts an overlay. Takes the name for its changes, its lower directories and its mount point. The
# working directory is $private, so no path in the options needs quoting.
mount_overlay() {
    local name=$1 lower=$2 target=$3
    mkdir "upper/$name" "work/$name"
    mount -t overlay overlay -o "lowerdir=$lower,upperdir=upper/$name,workdir=work/$name" "$target"
}

# Assembles the tree at $root. Takes the lists of packages whose layers it has, the lowest layer first.
assemble_root() {
    local list directory lower
    mkdir -p "$private"
    mount -t tmpfs -o mode=0755 keldo-host "$private"
    cd "$private" || return
    mkdir root upper work
    for list; do
        mkdir "$list"
        mount --bind "$(layer_of "$list")" "$list"
    done
    mount_overlay all / root
    for directory in $(package_directories); do
        lower=$(machine_directory "$directory")
        for list; do
            [[ ! -d $list/$directory ]] || lower=$list/$directory:$lower
        done
        mount_overlay "$directory" "$lower" "root/$directory"
    done
    mount_kernel_file_systems
    mount_scratch
    mkdir -p "$root$project"
    mount --bind "$project" "$root$project"
}

mount_kernel_file_systems() {
    mount -t proc -o nosuid,nodev,noexec proc "$root/proc"
    mount -t sysfs -o ro,nosuid,nodev,noexec sysfs "$root/sys"
    mount_devices
}

# Makes a separate /dev, since daemons put sockets there and shared memory belongs to one host.
mount_devices() {
    mount -t tmpfs -o mode=0755,nosuid devices "$root/dev"
    cp -a /dev/null /dev/zero /dev/full /dev/random /dev/urandom /dev/tty "$root/dev/"
    mkdir "$root/dev/pts" "$root/dev/shm"
    # A shell must be able to control the terminal that it runs on.
    mount --bind /dev/pts "$root/dev/pts"
    mount -t tmpfs -o mode=1777,nosuid,nodev shared-memory "$root/dev/shm"
    ln -s pts/ptmx "$root/dev/ptmx"
    ln -s /proc/self/fd "$root/dev/fd"
    ln -s fd/0 "$root/dev/stdin"
    ln -s fd/1 "$root/dev/stdout"
    ln -s fd/2 "$root/dev/stderr"
}

mount_scratch() {
    mount -t tmpfs -o mode=0755,nosuid,nodev run "$root/run"
    mkdir -m 1777 "$root/run/lock"
    mount -t tmpfs -o mode=1777,nosuid,nodev tmp "$root/tmp"
}

# Gives the host its name, and its loopback interface.
name_host() {
    echo "$1" >/proc/sys/kernel/hostname
    echo "$1" >"$root/etc/hostname"
    printf '127.0.0.1 localhost\n127.0.1.1 %s %s\n' "$1" "${1%%.*}" >"$root/etc/hosts"
    chroot "$root" ip link set lo up # the layer has the program, the machine may lack it
}

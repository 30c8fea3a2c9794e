# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # names of the script that sources this
# Chooses what serves as the host: namespaces of its own, or the container that this runs in.

# Whether namespaces and an overlay of the root directory can be had here.
can_have_namespaces() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    unshare --mount --net --pid --uts --ipc --fork sh -c '
        mount -t tmpfs probe "$1" && cd "$1" && mkdir upper work root &&
            mount -t overlay -o lowerdir=/,upperdir=upper,workdir=work probe root
        ' sh "$work" 2>/dev/null
}

# The kernel's number for the process namespace that a machine starts with.
readonly machine_processes='pid:[4026531836]'

# Whether this is a container, not a whole machine: its processes are numbered on their own, or (a
# bare chroot, a container with the machine's processes) the first process has another root. The
# marks that engines leave in the file system do not count: a machine made from an image has them.
is_container() {
    local first_root
    [[ $(readlink /proc/self/ns/pid) == "$machine_processes" ]] || return 0
    first_root=$(root_of 1)
    [[ $first_root && $first_root != "$(root_of self)" ]]
}

# The file system and the directory in it that are a process's root; nothing when the root is a
# directory where nothing is mounted.
root_of() {
    awk '$5 == "/" { root = $3 " " $4 } END { print root }' "/proc/$1/mountinfo" 2>/dev/null
}

((EUID == 0)) || die "needs root"
[[ -z ${KELDO_HOST-} ]] || die "this is a host already"
mkdir -p "$work" || die "cannot write to $work"
if can_have_namespaces; then
    # shellcheck source=host/lib/private.sh
    source "$project/host/lib/private.sh"
elif is_container; then
    # shellcheck source=host/lib/container.sh
    source "$project/host/lib/container.sh"
else
    die "needs CAP_SYS_ADMIN, or a container of its own"
fi

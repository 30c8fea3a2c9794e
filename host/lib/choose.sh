# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # names of the script that sources this
# Chooses the kind of host: new namespaces, or the container that this runs in.

# Whether this process may make namespaces and an overlay of the root directory.
can_have_namespaces() {
    # shellcheck disable=SC2016 # expanded by the inner shell
    unshare --mount --net --pid --uts --ipc --fork sh -c '
        mount -t tmpfs probe "$1" && cd "$1" && mkdir upper work root &&
            mount -t overlay -o lowerdir=/,upperdir=upper,workdir=work probe root
        ' sh "$work" 2>/dev/null
}

# The kernel's fixed number of the initial process namespace.
readonly machine_processes='pid:[4026531836]'

# Whether this is a container: it has its own process namespace, or the root directory of process 1
# is another one, as in a chroot or in a container in the machine's process namespace. Files that
# container engines leave prove nothing, since a machine made from an image has them too.
is_container() {
    local first_root
    [[ $(readlink /proc/self/ns/pid) == "$machine_processes" ]] || return 0
    first_root=$(root_of 1)
    [[ $first_root && $first_root != "$(root_of self)" ]]
}

# Prints the file system and the directory in it that are a process's root; nothing if no file
# system is mounted there.
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

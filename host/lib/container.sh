# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154,SC2034 # names of the script that sources this
# The container that this runs in is the host, if mounting is not allowed. One command runs at a
# time; afterwards everything but the packages is removed.

readonly serves_as_host=container
readonly host_ports=(25 53 80 143 3306 6379 8443)
readonly locale_archive=/usr/lib/locale/locale-archive
readonly policy=/usr/sbin/policy-rc.d

# shellcheck source=host/lib/container-files.sh
source "$project/host/lib/container-files.sh"

# Locks the container, by its root directory, which leaves no lock file. Checks that paths and ports
# are free.
claim_host() {
    local path port
    exec {container_lock}</
    flock --exclusive "$container_lock"
    # A host that was killed together with its cleaner has left files.
    [[ ! -e $in_use ]] || remove_host_files
    for path in "${host_paths[@]}"; do
        [[ ! -e $path ]] || die "this container cannot be the host: $path is in use"
    done
    for port in "${host_ports[@]}"; do
        ! is_port_in_use "$port" || die "this container cannot be the host: port $port is in use"
    done
    [[ ! -e $locale_archive ]] || ! localedef --list-archive | grep -qx de_DE ||
        [[ $(LC_ALL=de_DE locale charmap) == UTF-8 ]] ||
        die "this container cannot be the host: its locale de_DE is not in UTF-8"
}

# Whether a TCP socket listens (0A) or a UDP socket is bound (07) on a port.
is_port_in_use() {
    local hexadecimal
    printf -v hexadecimal %04X "$1"
    grep -qsE "^ *[0-9]+: [0-9A-F]+:$hexadecimal [0-9A-F:]+ (0A|07) " \
        /proc/net/tcp /proc/net/tcp6 /proc/net/udp /proc/net/udp6
}

# Makes the layer of a list.
make_layer() (
    layer=$(layer_of "$1")
    new=$layer.new
    had_locale=$(ls -d "$german_locale" 2>/dev/null)
    echo "$program: installing the daemons in this container" >&2
    rm -rf "$new"
    mkdir -p "$new"
    trap 'remove_host_files; restore_policy' EXIT
    : >"$in_use"
    save_policy
    "$host/lib/install" "$1" >&2 || exit
    [[ $1 != packages ]] || mv /var/lib/kvr "$new/kvr"
    [[ $had_locale || ! -d $german_locale ]] || mv "$german_locale" "$new/de_DE"
    layer_key "$1" >"$new/key"
    rm -rf "$layer"
    mv "$new" "$layer"
)

# Sets aside the container's own policy on whether packages may start daemons.
save_policy() {
    rm -f "$work/policy"
    [[ ! -e $policy ]] || cp -p "$policy" "$work/policy"
}

restore_policy() {
    rm -f "$policy"
    [[ ! -e $work/policy ]] || mv "$work/policy" "$policy"
}

end_keeper() {
    kill -TERM "$1"
}

# The keeper inherits the lock and keeps it until it has cleaned up, even if this process is killed.
run_in_host() {
    run_with_keeper "$panel" "$@"
}

# Takes the number of hosts, the command and its arguments.
run_in_fleet() {
    ! is_port_in_use 2222 || die "this container cannot be the host: port 2222 is in use"
    run_with_keeper panel "$host/lib/fleet-container" "$@"
}

run_with_keeper() {
    run_interruptibly end_keeper "$host/lib/keeper" "$host/lib/container-clean" \
        "$host/lib/container-root" "$1" "$PWD" "${@:2}"
}

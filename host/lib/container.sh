# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154,SC2034 # names of the script that sources this
# The other way, where nothing may be mounted: the container that this runs in is the host. One
# command at a time has it, and everything but the packages is taken away again afterwards.

readonly serves_as_host=container
readonly host_ports=(25 53 80 143 3306 6379 8443)
readonly locale_archive=/usr/lib/locale/locale-archive
readonly policy=/usr/sbin/policy-rc.d

# shellcheck source=host/lib/container-files.sh
source "$project/host/lib/container-files.sh"

# Waits for the container, by a lock that leaves no file, and makes sure that it is free.
claim_host() {
    local path port
    exec {container_lock}</
    flock --exclusive "$container_lock"
    # Left only by a host that was killed together with what was to clean up after it.
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

# Looks for a TCP socket that listens (0A) or a UDP socket that is bound (07).
is_port_in_use() {
    local hexadecimal
    printf -v hexadecimal %04X "$1"
    grep -qsE "^ *[0-9]+: [0-9A-F]+:$hexadecimal [0-9A-F:]+ (0A|07) " \
        /proc/net/tcp /proc/net/tcp6 /proc/net/udp /proc/net/udp6
}

make_layer() (
    new=$work/layer.new
    had_locale=$(ls -d "$german_locale" 2>/dev/null)
    echo "$program: installing the daemons in this container" >&2
    rm -rf "$new"
    mkdir -p "$new"
    trap 'remove_host_files; restore_policy' EXIT
    : >"$in_use"
    save_policy
    "$host/lib/install" >&2 || exit
    mv /var/lib/kvr "$new/kvr"
    [[ $had_locale || ! -d $german_locale ]] || mv "$german_locale" "$new/de_DE"
    layer_key >"$new/key"
    rm -rf "$layer"
    mv "$new" "$layer"
)

# The container's own answer to whether packages may start daemons, set aside meanwhile.
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

# The keeper has the lock too, for as long as it cleans up, even if this process is killed.
run_in_host() {
    run_interruptibly end_keeper "$host/lib/keeper" "$host/lib/container-clean" \
        "$host/lib/container-root" "$panel" "$PWD" "$@"
}

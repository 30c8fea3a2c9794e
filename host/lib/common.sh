# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154,SC2034 # names of the script that sources this
# Shared by the scripts of host: paths, the layers and their lock, and signals.
# The caller first sets `program` and `project`.

# The exit status if the host cannot be made; commands hardly ever use it.
readonly NO_HOST=125

readonly host=$project/host
readonly work=$project/build/host
# The lists of packages below host, each with a layer of its own, the lowest layer first.
lists=(packages)

die() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit "$NO_HOST"
}

# Takes --with NAME: the layer of host/packages-NAME lies above the first.
add_list() {
    [[ -f $host/packages-$1 ]] || die "there is no list of packages -- packages-$1"
    lists+=("packages-$1")
}

# Prints the directory of the layer of a list.
layer_of() {
    echo "$work/layer${1#packages}"
}

# A hash of everything that the layer of a list depends on, with the layer below it. The machine's
# packages count, since apt chose the layer's packages to fit them.
layer_key() {
    {
        echo "$serves_as_host"
        [[ $1 == packages ]] || cat "$host/$1"
        cat "$host"/packages "$host"/panel/*.sql "$host"/lib/install \
            "$host"/root/etc/kvr/.kvr.shadow "$host"/root/usr/local/kvr/etc/mysql.cnf \
            /var/lib/dpkg/status
    } | sha256sum
}

layer_is_fresh() {
    local key
    key=$(layer_of "$1")/key
    [[ -f $key && $(layer_key "$1") == "$(<"$key")" ]]
}

layers_are_fresh() {
    local list
    for list in "${lists[@]}"; do
        layer_is_fresh "$list" || return
    done
}

make_stale_layers() {
    local list
    for list in "${lists[@]}"; do
        layer_is_fresh "$list" || make_layer "$list" || return
    done
}

# Makes the layers that are out of date, and takes a shared lock (descriptor $layer_lock) that keeps
# others from replacing them.
hold_fresh_layers() {
    exec {layer_lock}>"$work/lock"
    flock --shared "$layer_lock"
    # Changing the kind of lock releases it for a moment, so check again.
    until layers_are_fresh; do
        flock --exclusive "$layer_lock"
        make_stale_layers {layer_lock}>&- || die "the layer could not be made"
        flock --shared "$layer_lock"
    done
}

# Runs a command that signals can end. It runs in the background, since bash handles a signal only
# after the foreground command has ended. It gets the caller's standard input, and the default action
# of every signal: bash ignores SIGINT and SIGQUIT in background commands, and the caller may run
# under nohup. Sets $status to its exit status. On a signal, calls $1 with the command's process id.
run_interruptibly() {
    local end_it=$1 child caught=
    shift
    env --default-signal setpriv --pdeathsig KILL "$@" <&0 &
    child=$!
    trap 'on_signal 2' INT
    trap 'on_signal 15' TERM
    trap 'on_signal 1' HUP
    wait "$child" 2>/dev/null
    status=$?
    # A signal ends the first `wait`; the second waits for the command's end.
    if [[ $caught ]]; then
        wait "$child" 2>/dev/null
        status=$caught
    fi
    trap - INT TERM HUP
}

on_signal() {
    trap '' INT TERM HUP
    caught=$((128 + $1))
    "$end_it" "$child"
}

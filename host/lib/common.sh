# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154,SC2034 # names of the script that sources this
# Shared by host/run and host/make-layer: paths, and whether the layer is up to date.
# The caller first sets `program` and `project`.

# The exit status if the host cannot be made; commands hardly ever use it.
readonly NO_HOST=125

readonly host=$project/host
readonly work=$project/build/host
readonly layer=$work/layer

die() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit "$NO_HOST"
}

# A hash of everything that the layer depends on. The machine's packages count, since apt chose the
# layer's packages to fit them.
layer_key() {
    {
        echo "$serves_as_host"
        cat "$host"/packages "$host"/panel/*.sql "$host"/lib/install \
            "$host"/root/etc/kvr/.kvr.shadow "$host"/root/usr/local/kvr/etc/mysql.cnf \
            /var/lib/dpkg/status
    } | sha256sum
}

layer_is_fresh() {
    [[ -f $layer/key && $(layer_key) == "$(<"$layer"/key)" ]]
}

# Makes the layer if it is out of date, and takes a shared lock (descriptor $layer_lock) that keeps
# others from replacing it.
hold_fresh_layer() {
    exec {layer_lock}>"$work/lock"
    flock --shared "$layer_lock"
    # Changing the kind of lock releases it for a moment, so check again.
    until layer_is_fresh; do
        flock --exclusive "$layer_lock"
        layer_is_fresh || make_layer {layer_lock}>&- || die "the layer could not be made"
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

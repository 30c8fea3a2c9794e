# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154,SC2034 # names of the script that sources this
# What host/run and host/make-layer share: where things are, and whether the layer is up to date.
# Sourced after `program` and `project` are set.

# The exit status when the host itself cannot be had, so that no command's own status looks like it.
readonly NO_HOST=125

readonly host=$project/host
readonly work=$project/build/host
readonly layer=$work/layer

die() {
    printf '%s: %s\n' "$program" "$*" >&2
    exit "$NO_HOST"
}

# What the layer is made from. When any of it changes the layer is made anew: its packages were
# chosen to fit the machine's, and the database was filled from the files in host/panel.
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

# Returns with a layer that is up to date, and with a shared lock on it (descriptor $layer_lock)
# under which nobody replaces it.
hold_fresh_layer() {
    exec {layer_lock}>"$work/lock"
    flock --shared "$layer_lock"
    # Exchanging one kind of lock for the other lets go of it for a moment: hence the loop.
    until layer_is_fresh; do
        flock --exclusive "$layer_lock"
        layer_is_fresh || make_layer {layer_lock}>&- || die "the layer could not be made"
        flock --shared "$layer_lock"
    done
}

# Runs a command as one that a signal can end: in the background, since bash acts on a signal only
# after a command in the foreground has ended, but with the caller's standard input, and with the
# signals on that bash turns off for a command in the background.
# Its exit status becomes $status; $1 is called, with its process id, when a signal comes.
run_interruptibly() {
    local end_it=$1 child caught=
    shift
    env --default-signal=INT,QUIT setpriv --pdeathsig KILL "$@" <&0 &
    child=$!
    trap 'on_signal 2' INT
    trap 'on_signal 15' TERM
    trap 'on_signal 1' HUP
    wait "$child" 2>/dev/null
    status=$?
    # A signal ends `wait` at once; the second one is for the command's real end.
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

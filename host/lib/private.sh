# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154,SC2034 # names of the script that sources this
# A host in new namespaces, over a layer with the daemons.

readonly serves_as_host=namespaces

# Each command has its own host, so there is nothing to wait for.
claim_host() {
    :
}

# The first process dies with `unshare`, and the process namespace with the first process. So no
# process outlives host/run, and the mounts and files go with the last process.
readonly private_namespaces=(unshare --mount --pid --uts --ipc --fork --kill-child=KILL)

# Makes the layer of a list.
make_layer() {
    local layer new
    layer=$(layer_of "$1")
    new=$layer.new
    echo "$program: installing the daemons of the private host (host/$1)" >&2
    rm -rf "$new"
    mkdir -p "$new"
    run_in_namespaces "$host/lib/make-layer-root" "$1" "$new"
    if ((status != 0)); then
        rm -rf "$new"
        return 1
    fi
    layer_key "$1" >"$new/key"
    rm -rf "$layer"
    mv "$new" "$layer"
}

run_in_host() {
    run_in_namespaces --net "$host/lib/private-root" "$panel" "${lists[*]}" "$PWD" "$@" {layer_lock}>&-
}

# Takes the number of hosts beside the controller, the command and its arguments.
run_in_fleet() {
    run_in_namespaces --net "$host/lib/fleet-root" "$1" "${lists[*]}" "$PWD" "${@:2}" {layer_lock}>&-
}

# Takes further options for `unshare`, then the first process's program and its arguments. The
# program finds standard error as descriptor 3. Standard error of `unshare` itself is dropped: it
# prints a wrong message if the first process is killed.
run_in_namespaces() {
    run_interruptibly end_namespaces "${private_namespaces[@]}" "$@" 3>&2 2>/dev/null
}

# Kills the first process of the namespaces that `unshare`, process $1, has made; `unshare` ends
# when all their processes have.
end_namespaces() {
    local first=
    read -r first <"/proc/$1/task/$1/children"
    kill -KILL "${first:-$1}"
}

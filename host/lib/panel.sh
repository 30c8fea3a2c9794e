# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # $project and $host are common.sh's
# Copies the panel's files below a root directory: host/root and the built programs.

# Newer client libraries of Debian look for the database's socket in another directory.
link_socket_directory() {
    ln -s mysqld "$1/run/mariadbd"
}

lay_out_panel() {
    local target=$1 built=${KELDO_BUILD:-$project/build/release}
    local kvr=$target/usr/local/kvr
    # Keeps the modification times: Postfix waits some seconds if its configuration is new.
    cp -r --preserve=timestamps "$host"/root/. "$target/"
    chmod 0600 "$target/etc/kvr/.kvr.shadow"
    mkdir -p "$kvr/tmp" "$kvr/var" "$kvr/share"
    cp "$built/keldoctl" "$built/keldoctl-inspect" "$kvr/admin/sbin/"
    cp "$built/libexec/monit-check-status" "$kvr/admin/sbin/monit"
    cp -r "$built/share/locale" "$kvr/share/"
}

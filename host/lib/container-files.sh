# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # names of common.sh
# The files of a host outside the project's folder, if a container is the host.

readonly host_paths=(
    /etc/kvr /service /usr/local/kvr /var/lib/kvr /var/log/kvr /run/kvr /run/mysqld
    /run/mariadbd
)
readonly german_locale=/usr/lib/locale/de_DE
# Exists while there may be files to remove. It is not in the project's folder, because a copy of
# that folder in another container would make that container remove its own files.
readonly in_use=/var/lib/keldo-host-in-use

lay_out_host_files() {
    local layer
    layer=$(layer_of packages)
    : >"$in_use"
    cp -a "$layer/kvr" /var/lib/kvr
    link_socket_directory ''
    # Missing if the container has its own locale of this name.
    [[ ! -d $layer/de_DE ]] || ln -s "$layer/de_DE" "$german_locale"
}

remove_host_files() {
    rm -rf "${host_paths[@]}"
    [[ ! -L $german_locale ]] || rm "$german_locale"
    rm -f "$in_use"
}

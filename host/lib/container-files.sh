# SPDX-License-Identifier: MIT
# shellcheck shell=bash disable=SC2154 # names of common.sh
# What a host consists of, outside the project's folder, when a container serves as it.

readonly host_paths=(
    /etc/kvr /service /usr/local/kvr /var/lib/kvr /var/log/kvr /run/kvr /run/mysqld
)
readonly german_locale=/usr/lib/locale/de_DE
# Exists while there may be something to remove. It is where that is, and not in the project's
# folder: a copy of that in another container, a real panel's, must not have anything removed there.
readonly in_use=/var/lib/keldo-host-in-use

lay_out_host_files() {
    : >"$in_use"
    cp -a "$layer/kvr" /var/lib/kvr
    # Not there when the container has a locale of this name already.
    [[ ! -d $layer/de_DE ]] || ln -s "$layer/de_DE" "$german_locale"
}

remove_host_files() {
    rm -rf "${host_paths[@]}"
    [[ ! -L $german_locale ]] || rm "$german_locale"
    rm -f "$in_use"
}

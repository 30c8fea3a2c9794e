# SPDX-License-Identifier: MIT
# shellcheck shell=bash
# Completion of keldo-service-lint's command line in bash.

_keldo_service_lint() {
    if [[ $2 == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W '--show --help -h' -- "$2")
    else
        compopt -o filenames -o plusdirs
        mapfile -t COMPREPLY < <(compgen -f -X '!*.xml' -- "$2")
    fi
}

complete -F _keldo_service_lint keldo-service-lint

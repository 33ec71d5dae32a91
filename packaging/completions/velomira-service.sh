# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Completion of bash for velomira-service.

_velomira_service() {
    local current=$2 previous=$3
    # An equals sign is a word of its own.
    if [ "$previous" = = ] && [ "$COMP_CWORD" -gt 1 ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    elif [ "$current" = = ]; then
        current=
    fi
    case $previous in
    --database)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    --address) mapfile -t COMPREPLY < <(compgen -W "127.0.0.1 0.0.0.0" -- "$current") ;;
    --largest-upload) mapfile -t COMPREPLY < <(compgen -W "64 512 2048" -- "$current") ;;
    --port) mapfile -t COMPREPLY < <(compgen -W "8787" -- "$current") ;;
    --add-user | --set-password | --revoke-tokens | --remove-user) COMPREPLY=() ;; # an e-mail address
    *)
        mapfile -t COMPREPLY < <(compgen -W "--port --database --address --trust-proxy --public-url --largest-upload --add-user --set-password
            --revoke-tokens --remove-user --summary --help --version" -- "$current")
        ;;
    esac
}
complete -F _velomira_service velomira-service

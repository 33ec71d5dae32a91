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
    --database | --report-database | --config)
        compopt -o filenames 2>/dev/null
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        ;;
    --address) mapfile -t COMPREPLY < <(compgen -W "127.0.0.1 0.0.0.0" -- "$current") ;;
    --largest-upload) mapfile -t COMPREPLY < <(compgen -W "64 512 2048" -- "$current") ;;
    --quota) mapfile -t COMPREPLY < <(compgen -W "1024 10240" -- "$current") ;;
    --keep-runs | --keep-days) mapfile -t COMPREPLY < <(compgen -W "90 365 3650" -- "$current") ;;
    --log) mapfile -t COMPREPLY < <(compgen -W "text json" -- "$current") ;;
    --scope) mapfile -t COMPREPLY < <(compgen -W "read upload manage" -- "$current") ;;
    --metrics) mapfile -t COMPREPLY < <(compgen -W "127.0.0.1:9187" -- "$current") ;;
    --public-url) COMPREPLY=() ;;
    --port) mapfile -t COMPREPLY < <(compgen -W "8787" -- "$current") ;;
    # An e-mail address.
    --add-user | --set-password | --revoke-tokens | --remove-user | --add-token) COMPREPLY=() ;;
    --list-devices | --export-user) COMPREPLY=() ;;
    *)
        mapfile -t COMPREPLY < <(compgen -W "--port --database --report-database --address --metrics --trust-proxy
            --public-url --largest-upload --quota --keep-runs --keep-days --log --config --check-config --list-users --add-user
            --set-password --revoke-tokens --remove-user --add-token --scope --list-devices
            --export-user --prune --dry-run --summary --help --version" -- "$current")
        ;;
    esac
}
complete -F _velomira_service velomira-service

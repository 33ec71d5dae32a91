# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Completion of bash for Quillstep.

_quillstep() {
    local current=$2 previous=$3 words
    # A colon ends a word here, so the part of an address before it is a word of its own.
    if [ "$previous" = : ] && [ "$COMP_CWORD" -gt 1 ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}:
    elif [ "$current" = : ]; then
        previous=$previous:
        current=
    fi
    case $previous in
    velomira:) words="//dashboard //login" ;;
    --action) words="dashboard login settings quit" ;;
    --sign-in) words= ;; # an e-mail address
    --install-browser-support) words="--remove" ;;
    *)
        words="velomira://dashboard velomira://login"
        if [[ $current == -* ]]; then
            words="--action --diagnose --sign-in --sign-out --install-browser-support --help --help-all --version"
        fi
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}
complete -F _quillstep Quillstep

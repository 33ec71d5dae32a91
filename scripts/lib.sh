# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# What the commands of this folder and of the project's root share. Sourced, never run.

# shellcheck disable=SC2034  # used by the scripts that source this
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

step() { printf '==> %s\n' "$*"; }

fail() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
    exit 1
}

# The comment block at the top of the running script, below its licence lines: its --help text.
usage() { awk 'NR > 3 { if (!/^#/) exit; sub(/^# ?/, ""); print }' "$0"; }

# quietly LOG COMMAND...: what it prints goes to LOG, and to the terminal only if it fails.
quietly() {
    local log=$1 status=0
    shift
    mkdir -p "$(dirname "$log")"
    "$@" >"$log" 2>&1 || status=$?
    [ "$status" = 0 ] || cat "$log" >&2
    return "$status"
}

# build PRESET [CMAKE --build OPTIONS...]: configures and builds; a compiler cache is welcome, not needed.
build() {
    local preset=$1
    shift
    if command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
    configure "$preset" &&
        quietly "$root/build/log/$preset-build.log" \
            cmake --build "$root/build/$preset" --parallel "$(nproc)" "$@"
}

configure() {
    local options=()
    # There no source is compiled a second time; see cmake/Unity.cmake.
    if [ -n "${CI:-}" ] && [ "$1" = asan ]; then options=(-DQUILLSTEP_UNITY=ON); fi
    quietly "$root/build/log/$1-configure.log" cmake -S "$root" --preset "$1" "${options[@]}"
}

# wait_until SECONDS COMMAND...: polls until COMMAND succeeds; fails when the time is over.
wait_until() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ "$SECONDS" -lt "$deadline" ] || return 1
        sleep 0.05
    done
}

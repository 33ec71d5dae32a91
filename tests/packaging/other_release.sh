#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/packaging/other_release.sh WORK
#
# What a newcomer does, on the supported release of Debian that this machine does not have (12 on 13, else 13): in a
# fresh system made for it in the folder WORK, ./run --headless on a copy of the sources. It installs, builds the
# preset release, signs in, records, uploads and compares. Only root can do this; others skip it with exit code 77.
#
# WORK keeps the bare system for the next time, what was downloaded, and the screenshots and logs of the last run.
set -euo pipefail
# shellcheck source=own_system.sh
. "$(dirname "${BASH_SOURCE[0]}")/own_system.sh"

other_release() {
    case $(this_release) in
    trixie) echo bookworm ;;
    *) echo trixie ;;
    esac
}

# The sources as they are in the working tree, and nothing that is built.
copy_sources() {
    mkdir "$system/newcomer"
    git -C "$root" -c safe.directory="$root" ls-files -z --cached --others --exclude-standard |
        (cd "$root" && while IFS= read -r -d '' name; do [ ! -e "$name" ] || printf '%s\0' "$name"; done) |
        tar -C "$root" --null -T - -cf - | tar -C "$system/newcomer" -xf -
}

keep_results() {
    rm -rf "$work/results"
    mkdir -p "$work/results"
    cp -r "$system/newcomer/build/log" "$system/newcomer/build/run/screenshots" "$work/results/" 2>/dev/null || true
}

case ${1:-} in
-h | --help) usage && exit 0 ;;
--in-namespace)
    work=$2
    release=$(other_release)
    open_system "$work/system"
    open_bare_system "$release"
    copy_sources
    step "Installing what ./run needs on $release"
    inside /newcomer/scripts/setup.sh build run
    step "./run --headless on $release"
    status=0
    # Without the network, which it does not need any more, and with a loopback of its own for the service's port.
    unshare --net "$0" --without-network "$work" || status=$?
    keep_results
    [ "$status" = 0 ] || fail "./run --headless failed on $release; what there is of it is in $work/results"
    exit 0
    ;;
--without-network)
    work=$2
    open_system "$work/system"
    ip link set lo up
    exec "${in_system[@]}" /newcomer/run --headless
    ;;
esac

[ $# = 1 ] || { usage >&2 && exit 2; }
mkdir -p "$1"
work=$(realpath "$1")
needs_namespaces
in_own_namespaces "$work"

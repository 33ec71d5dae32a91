#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/support/own_machine.sh COMMAND [ARGUMENT...]
#        tests/support/own_machine.sh --available
#
# Runs COMMAND with ports, abstract sockets, X displays and processes of its own, so that tests with real peers may run
# beside each other. The kernel ends with COMMAND whatever it has started. Where nobody may have this, COMMAND waits for
# the one before it instead.
#
#   --available  says by its exit code whether tests may run beside each other
set -euo pipefail

# As root there is no need of users of its own; others stay who they are, but for the preparations.
namespaces=(unshare --mount --net --ipc --pid --fork --kill-child --mount-proc)
[ "$(id -u)" = 0 ] || namespaces+=(--user --map-root-user)

prepare() {
    ip link set lo up
    local folder
    for folder in /tmp/.X11-unix /tmp/.ICE-unix; do
        [ -d "$folder" ] || mkdir -m 1777 "$folder"
        mount -t tmpfs -o mode=1777 tmpfs "$folder"
    done
}

case ${1:-} in
--available)
    "${namespaces[@]}" "$0" --prepared "$(id -u)" "$(id -g)" true 2>/dev/null && exit 0 || exit 1
    ;;
--prepared)
    user=$2 group=$3
    shift 3
    prepare
    # This shell remains: a process without a parent needs one that buries it.
    if [ "$user" = 0 ]; then "$@"; else unshare --user --map-user="$user" --map-group="$group" "$@"; fi
    exit
    ;;
esac
[ $# -gt 0 ] || { echo "own_machine.sh: which command?" >&2 && exit 2; }

if "$0" --available; then
    exec "${namespaces[@]}" "$0" --prepared "$(id -u)" "$(id -g)" "$@"
fi
exec flock --close "$0" "$@" # what outlives COMMAND must not hold it

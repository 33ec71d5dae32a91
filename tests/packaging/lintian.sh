#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/packaging/lintian.sh FOLDER
#
# Fails when lintian has anything to say about the packages in FOLDER, hints of the level "info" included. What
# it is not to say stands, with the reason, in packaging/debian/*.lintian-overrides.
set -euo pipefail
# shellcheck source=../../scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

case ${1:-} in -h | --help) usage && exit 0 ;; esac
[ $# = 1 ] || { usage >&2 && exit 2; }
command -v lintian >/dev/null || fail "lintian is not installed: scripts/setup.sh test"

shopt -s nullglob
packages=("$1"/*.deb)
[ ${#packages[@]} -gt 0 ] || fail "there are no packages in $1"
said=$(lintian --allow-root --profile debian --display-info --fail-on none "${packages[@]}" 2>&1) ||
    fail "lintian failed: $said"
# An override that overrides nothing is a leftover, and lintian says so.
if [ -n "$said" ]; then
    printf '%s\n' "$said"
    exit 1
fi
echo "lintian: nothing found in ${#packages[@]} packages"

#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/packaging/lintian_finds_faults.sh FOLDER
#
# Damages a copy of the service's package from FOLDER and fails unless lintian.sh finds that.
set -euo pipefail
# shellcheck source=../../scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

case ${1:-} in -h | --help) usage && exit 0 ;; esac
[ $# = 1 ] || { usage >&2 && exit 2; }
shopt -s nullglob
packages=("$1"/velomira-service_*.deb)
[ ${#packages[@]} = 1 ] || fail "there is not one velomira-service_*.deb in $1"

copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT

# finds TAG: with the tree as it now is, lintian.sh fails and names TAG.
finds() {
    mkdir -p "$copy/packages"
    dpkg-deb --root-owner-group --build "$copy/tree" "$copy/packages/velomira-service.deb" >/dev/null
    local said
    if said=$("$root/tests/packaging/lintian.sh" "$copy/packages"); then fail "nothing was found where there is $1"; fi
    grep -qE " $1( |$)" <<<"$said" || fail "$1 was not found, but: $said"
    echo "found: $1"
}

dpkg-deb --raw-extract "${packages[0]}" "$copy/tree"
mv "$copy/tree/usr/share/doc/velomira-service/copyright" "$copy/"
finds no-copyright-file
mv "$copy/copyright" "$copy/tree/usr/share/doc/velomira-service/"
# One that only the overrides keep quiet, and one of the level "info".
rm "$copy/tree/usr/share/lintian/overrides/velomira-service"
finds package-supports-alternative-init-but-no-init.d-script

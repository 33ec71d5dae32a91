#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/packaging/service_is_named.sh
#
# Fails unless scripts/make_packages.sh refuses, before it does anything, to guess for which service the product is.
set -euo pipefail
# shellcheck source=../../scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

# refuses TEXT OPTION...: with the options it ends at once and its only line has TEXT.
refuses() {
    local text=$1 said
    shift
    if said=$(timeout 20 "$root/scripts/make_packages.sh" "$@" 2>&1); then fail "\"$*\" was taken"; fi
    [ "$(wc -l <<<"$said")" = 1 ] || fail "\"$*\" was refused late, or with many words: $said"
    grep -qF -- "$text" <<<"$said" || fail "\"$*\" was refused, but with: $said"
    echo "refused: \"$*\""
}

refuses "-DQUILLSTEP_SERVICE_URL=https://HOST, or --local"
refuses "-DQUILLSTEP_SERVICE_URL=https://HOST, or --local" -DQUILLSTEP_HOMEPAGE=https://example.org
refuses "more than one service" --local -DQUILLSTEP_SERVICE_URL=https://example.org
refuses "address is empty" -DQUILLSTEP_SERVICE_URL=
refuses "unknown option" --locally

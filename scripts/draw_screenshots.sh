#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/draw_screenshots.sh
#
# Draws every window in every state anew into docs/screenshots. Look at what has changed before you commit it:
# the tests views.screenshots and views.screenshots_dense take it for right.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
case ${1:-} in
-h | --help) usage && exit 0 ;;
?*) fail "unknown argument \"$1\" (see --help)" ;;
esac

"$root/scripts/setup.sh" build test
build asan --target draw_screenshots
mkdir -p "$root/docs/screenshots"
run=(env QT_QPA_PLATFORM=offscreen LC_ALL=C.UTF-8 ASAN_OPTIONS=detect_leaks=0)
if setarch -R true 2>/dev/null; then run=(setarch -R "${run[@]}"); fi
# For usual screens, then those for screens with twice as many pixels.
for scale in 1 2; do
    QT_SCALE_FACTOR=$scale "${run[@]}" "$root/build/asan/bin/draw_screenshots" "$root/docs/screenshots"
done
step "Drawn into docs/screenshots"

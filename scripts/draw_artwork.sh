#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/draw_artwork.sh
#
# Draws anew what is made from the drawings in resources/: logo.png, the sizes of the application's icon, and
# docs/symbols.png, which shows every symbol in the sizes it is used in; and the shadow of the windows' cards,
# views/images/card_shadow*.png. Qt draws, as it does in the product.
# For after a change to a drawing; the results are committed.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

case ${1:-} in -h | --help) usage && exit 0 ;; esac
[ $# = 0 ] || { usage >&2 && exit 2; }

step "Building the tool"
build dev --target quillstep_artwork || fail "the build failed"
tool=$root/build/dev/bin/quillstep_artwork
resources=$root/resources
icon=com.velomira.UsageMonitor

step "Drawing the logo and the icons"
"$tool" render "$resources/logo.svg" 256 "$resources/logo.png"
for size in 16 22 24 32 48 64 128 256; do
    # Little of the dial would be left: small icons have drawings of their own, without it.
    case $size in
    16) variant=-smallest ;;
    22 | 24) variant=-small ;;
    *) variant= ;;
    esac
    folder=$resources/icons/${size}x$size
    mkdir -p "$folder"
    "$tool" render "$resources/icons/$icon$variant.svg" "$size" "$folder/$icon.png"
done

step "Drawing the sheet of symbols"
"$tool" sheet "$resources/symbols" "$root/docs/symbols.png"

step "Drawing the shadow of the cards"
"$tool" shadow 1 "$root/views/images/card_shadow.png"
"$tool" shadow 2 "$root/views/images/card_shadow@2x.png"

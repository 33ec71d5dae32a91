#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/setup.sh [--list] PURPOSE...
#
# Installs the Debian packages that a purpose needs and that are not there yet. As root, or through sudo.
#
#   build   compile the product and the benchmarks
#   imports what the windows import when they run; packages depend on it
#   run     the headless desktop of ./run with its applications
#   test    the unit and system tests
#   lint    formatter, static analysis, shell check
#   fuzz    compiler and run-time library of the fuzz targets
#   coverage  the reader of what scripts/coverage.sh counts
#   bench   the headless desktops and the disk of the process figures
#
#   --list  print the packages instead of installing them
#
# For Debian 12 and 13. Of 13 the purposes build and run are tried by every ./test, of younger relatives none.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# The only place that names packages.
packages() {
    # What the windows import; in this split they run without the rest of Qt Quick Controls.
    local qml="qml6-module-qtqml qml6-module-qtqml-models qml6-module-qtqml-workerscript qml6-module-qtquick"
    qml+=" qml6-module-qtquick-layouts qml6-module-qtquick-templates qml6-module-qtquick-window"
    # Debian 12 has two versions, and the one without a number is too old.
    local boost=libboost-dev
    if grep -qsx 'VERSION_CODENAME=bookworm' /etc/os-release; then boost=libboost1.81-dev; fi
    local desktop="xvfb openbox wmctrl xdotool x11-utils xterm dbus python3"
    case $1 in
    build)
        echo build-essential cmake ninja-build pkg-config qt6-base-dev qt6-declarative-dev qt6-declarative-dev-tools qt6-svg-dev \
            "$qml" libsimdjson-dev libglib2.0-dev \
            libsecret-1-dev qcoro-qt6-dev "$boost" zlib1g-dev libsodium-dev libqt6sql6-sqlite libqt6sql6-psql \
            libxcb1-dev libxcb-screensaver0-dev libxcb-sync-dev libxcb-imdkit-dev libbenchmark-dev libicu-dev \
            libwayland-dev libwayland-bin plasma-wayland-protocols libdbus-1-dev mold
        ;;
    imports) echo "$qml" ;;
    run) echo "$desktop" "$qml" fonts-dejavu-core lxqt-panel mousepad feh chromium gnome-keyring scrot fonts-noto-color-emoji ;;
    test)
        echo "$desktop" gnome-keyring libsecret-tools libsm-dev openssl nginx-light postgresql sqlite3 desktop-file-utils xdg-utils \
            fonts-dejavu-core libglib2.0-bin at-spi2-core lxqt-panel xfce4-panel tint2 scrot qt6-base-private-dev \
            sway xwayland wtype weston kwin-wayland kwin-x11 gnome-shell libgl1-mesa-dri gjs libglib2.0-dev-bin \
            qt6-wayland python3-gi gir1.2-gtk-3.0 util-linux x11-xserver-utils chromium firefox-esr epiphany-browser \
            debootstrap lintian systemd iproute2 curl wayland-protocols libfuse3-dev e2fsprogs xfsprogs btrfs-progs
        ;;
    bench)
        echo "$desktop" lxqt-panel gnome-keyring libsecret-tools sway kwin-wayland gnome-shell weston libgl1-mesa-dri qt6-wayland \
            at-spi2-core python3-gi gir1.2-gtk-3.0 python3-xlib util-linux mount e2fsprogs
        ;;
    lint) echo clang-19 clang-format-19 clang-tidy-19 shellcheck python3 desktop-file-utils appstream mandoc man-db ;;
    coverage) echo gcovr ;;
    fuzz) echo clang-19 libclang-rt-19-dev ;;
    *) return 1 ;;
    esac
}

installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }

# as_root APT-COMMAND...
as_root() {
    local environment=(env DEBIAN_FRONTEND=noninteractive LC_ALL=C)
    if [ "$(id -u)" = 0 ]; then "${environment[@]}" "$@"; else sudo "${environment[@]}" "$@"; fi
}

first_error() { grep -m1 -E '^(E|Err|W):' "$1" || tail -n1 "$1"; }

list_only=no
wanted=()
for argument in "$@"; do
    case $argument in
    -h | --help) usage && exit 0 ;;
    --list) list_only=yes ;;
    *)
        names=$(packages "$argument") || fail "unknown purpose \"$argument\" (see --help)"
        read -ra names <<<"$names"
        wanted+=("${names[@]}")
        ;;
    esac
done
[ ${#wanted[@]} -gt 0 ] || fail "say what for: build, imports, run, test, lint, fuzz, coverage or bench (see --help)"

if [ $list_only = yes ]; then
    printf '%s\n' "${wanted[@]}" | sort -u
    exit 0
fi

command -v apt-get >/dev/null ||
    fail "not a Debian-like system (no apt-get): install the counterparts of \"scripts/setup.sh --list $*\" yourself"

missing=()
while read -r package; do
    installed "$package" || missing+=("$package")
done < <(printf '%s\n' "${wanted[@]}" | sort -u)

if [ ${#missing[@]} -gt 0 ]; then
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "missing: ${missing[*]}; neither root nor sudo, so they cannot be installed"
    step "Installing ${missing[*]}"
    log=$(mktemp)
    trap 'rm -f "$log"' EXIT
    # One broken source of the user's is no reason to stop; it is named if a package is then not found.
    refreshed=yes
    as_root apt-get -q -o APT::Update::Error-Mode=any update >"$log" 2>&1 || refreshed=no
    for package in "${missing[@]}"; do
        apt-cache show --no-all-versions "$package" >/dev/null 2>&1 && continue
        [ $refreshed = yes ] && fail "package not found: $package (Debian 12 or 13 is needed)"
        fail "package not found: $package; the package lists could not be refreshed: $(first_error "$log")"
    done
    as_root apt-get -q -y -o DPkg::Lock::Timeout=300 install --no-install-recommends "${missing[@]}" \
        >"$log" 2>&1 || fail "could not install ${missing[*]}: $(first_error "$log")"
fi

if [[ " $* " == *" build "* ]] && ! command -v c++ >/dev/null; then
    fail "no C++ compiler: build-essential is installed, but c++ is not in PATH"
fi

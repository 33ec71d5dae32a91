#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/make_packages.sh --local|-DQUILLSTEP_SERVICE_URL=URL [-DNAME=VALUE...] [DIR]
#
# Installs what is missing, builds the product for /usr and puts three Debian packages into DIR (build/packages by
# default): velomira-usage-monitor_VERSION_ARCHITECTURE.deb, velomira-usage-monitor-browsers_VERSION_all.deb and
# velomira-service_VERSION_ARCHITECTURE.deb.
#
#   -DQUILLSTEP_SERVICE_URL=URL   the service to sign in to
#   --local                       instead of it: the one on each user's own machine, http://127.0.0.1:8787. For trying:
#                                 whoever gets that port first is the service
#   -DQUILLSTEP_MAINTAINER=TEXT   who answers for the packages: Name <e-mail address>
#   -DQUILLSTEP_HOMEPAGE=URL      web page of the application, named in the packages when given
#   -DQUILLSTEP_SCREENSHOTS=URL   web folder with the pictures of docs/screenshots, for software centres
#
# The packages are for the release of Debian that they are made on. A value holds for this call alone.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

values=(-UQUILLSTEP_MAINTAINER -UQUILLSTEP_HOMEPAGE -UQUILLSTEP_SCREENSHOTS)
folder=$root/build/packages
services=()
while [ $# -gt 0 ]; do
    case $1 in
    -h | --help) usage && exit 0 ;;
    --local) services+=(http://127.0.0.1:8787) ;;
    -DQUILLSTEP_SERVICE_URL=?*) services+=("${1#*=}") ;;
    -DQUILLSTEP_SERVICE_URL=) fail "the service's address is empty" ;;
    -D?*=*) values+=("$1") ;;
    -*) fail "unknown option \"$1\" (see --help)" ;;
    *) folder=$1 ;;
    esac
    shift
done
[ ${#services[@]} -gt 0 ] || fail "which service is the product for? Say -DQUILLSTEP_SERVICE_URL=https://HOST, or --local" \
    "for the service on each user's own machine, to try it"
[ ${#services[@]} = 1 ] || fail "more than one service is named: ${services[*]}"
values+=("-DQUILLSTEP_SERVICE_URL=${services[0]}")

step "Looking for missing packages"
"$root/scripts/setup.sh" build

step "Building (preset package)"
if command -v ccache >/dev/null; then export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
quietly "$root/build/log/package-configure.log" cmake -S "$root" --preset package "${values[@]}" ||
    fail "the configuration failed"
quietly "$root/build/log/package-build.log" cmake --build "$root/build/package" --parallel "$(nproc)" ||
    fail "the build failed"

step "Making the packages"
staging=$root/build/package/packages
rm -rf "$staging"
# Folders that packages bring have the usual mode, whatever that of this user's are.
umask 022
(cd "$root/build/package" &&
    quietly "$root/build/log/package-cpack.log" cpack --config CPackConfig.cmake -B "$staging") || fail "cpack failed"
mkdir -p "$folder"
for package in "$staging"/*.deb; do
    mv "$package" "$folder/"
    echo "$folder/${package##*/}"
done
rm -rf "$staging"

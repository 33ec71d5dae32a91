#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/packaging/install.sh PACKAGES WORK
#
# Installs the packages in the folder PACKAGES in a fresh Debian made for it in the folder WORK, of the release that
# this machine has and from where this machine gets its packages, over the monitor as it was when it held the files for
# browsers itself. Uses them there as their administrator and as an ordinary user would (tests/packaging/journey.sh),
# purges them, and compares what is left. Only root can do this; others skip it with exit code 77.
#
# Everything runs in namespaces of its own, so that nothing outlives the test and port 8787 is free. WORK keeps the
# bare system as base.tar for the next time, what was downloaded, and the screenshots and logs of the last run.
set -euo pipefail
# shellcheck source=own_system.sh
. "$(dirname "${BASH_SOURCE[0]}")/own_system.sh"

# What the journey uses; the packages themselves must bring what they need.
tools=(dbus desktop-file-utils fonts-dejavu-core gnome-keyring libglib2.0-bin libsecret-tools openbox scrot systemd
    wmctrl x11-utils xdg-utils xdotool xterm xvfb)
user=visitor
email=visitor@example.org
password="a password of the journey"

# listing: every file with its type, mode, owner and content, but for what is there to change: caches, logs, and the
# package manager's own books.
listing() {
    local left_out=(-path ./proc -o -path ./dev -o -path ./run -o -path ./tmp -o -path ./home -o -path ./var/cache
        -o -path ./var/log -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path './etc/*-')
    (cd "$system" &&
        find . -xdev \( "${left_out[@]}" \) -prune -o -printf '%p %y %m %u:%g %l\n' | sort &&
        find . -xdev \( "${left_out[@]}" \) -prune -o -type f -print0 | sort -z | xargs -0 sha256sum)
}

# expect WHAT COMMAND...
expect() {
    local what=$1
    shift
    "$@" || fail "not so: $what"
    echo "as it should be: $what"
}

is_empty() { [ -z "$1" ] || { printf '%s\n' "$1" >&2 && return 1; }; }

as_service() { inside runuser -u velomira-service -- "$@"; }

# The unit's command line with the unit's settings. systemd splits $OPTIONS and keeps ${DATABASE} whole, as a shell
# does with quotes.
start_service() {
    local command
    command=$(sed -n 's/^ExecStart=//p' "$system/usr/lib/systemd/system/velomira-service.service" |
        sed -E 's/\$\{([A-Z]+)\}/"${\1}"/g')
    "${in_system[@]}" setpriv --reuid velomira-service --regid velomira-service --init-groups --no-new-privs \
        --bounding-set -all sh -c "umask 077; set -a; . /etc/velomira-service/service.conf; exec $command" \
        >"$work/log/service.log" 2>&1 &
    service=$!
    wait_until 20 grep -q "listening on http://127.0.0.1:8787" "$work/log/service.log" ||
        fail "the service did not start: $(tail -n3 "$work/log/service.log")"
}

# make_previous FILE: the monitor as version 1.0.0 was, one package with the files for browsers.
make_previous() {
    local tree=$work/previous browsers=$work/previous-browsers
    rm -rf "$tree" "$browsers"
    dpkg-deb --raw-extract "$packages"/velomira-usage-monitor_*.deb "$tree"
    dpkg-deb --raw-extract "$packages"/velomira-usage-monitor-browsers_*.deb "$browsers"
    rm -r "$browsers/usr/share/doc" "$browsers/usr/share/lintian"
    cp -a "$browsers/etc" "$browsers/usr" "$tree/"
    cp "$browsers/DEBIAN/conffiles" "$tree/DEBIAN/"
    rm "$tree/DEBIAN/md5sums"
    sed -i -e 's/^Version: .*/Version: 0.9/' -e '/^Recommends:/d' "$tree/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$tree" "$1" >/dev/null
    rm -rf "$tree" "$browsers"
}

owner_of() { inside dpkg-query -S "$1" | sed 's/: .*//'; }

install_packages() {
    step "Installing the monitor as it was"
    local name names=()
    for name in "$packages"/*.deb; do names+=("/run/test/packages/${name##*/}"); done
    fetch "${names[@]}"
    make_previous "$system/run/test/previous.deb"
    apt install /run/test/previous.deb
    local manifest=/etc/chromium/native-messaging-hosts/com.velomira.usage_monitor.json
    expect "the files for browsers are the monitor's" test "$(owner_of $manifest)" = velomira-usage-monitor
    step "Installing the packages"
    apt install "${names[@]}"
    expect "they have gone over to their own package" test "$(owner_of $manifest)" = velomira-usage-monitor-browsers
    expect "nothing is left to decide" is_empty "$(find "$system/etc" -name '*.dpkg-*')"
    expect "every file is as its package has it" is_empty "$(inside dpkg --verify)"
    # shellcheck disable=SC2016  # dpkg's variables
    expect "the settings are settings to dpkg" test "$(inside dpkg-query -W -f '${Conffiles}\n' velomira-usage-monitor \
        velomira-usage-monitor-browsers velomira-service | grep '^ /etc/' | grep -vc ' obsolete$')" = 4
    expect "the service's settings are not for everybody" test root:velomira-service:640 = \
        "$(inside stat --format=%U:%G:%a /etc/velomira-service/service.conf)"
    expect "the service is not enabled" is_empty "$(find "$system/etc/systemd" -name 'velomira*')"
    expect "nothing starts at login" is_empty "$(find "$system/etc/xdg" -iname '*velomira*')"
    expect "the unit is well formed" is_empty "$(inside systemd-analyze verify --man=no velomira-service.service 2>&1)"
    local exposure
    exposure=$(inside systemd-analyze security --offline=true velomira-service.service | sed -n 's/^→ Overall exposure.*: //p')
    expect "the unit's exposure is OK: $exposure" grep -q ' OK ' <<<"$exposure"
    for manifest in etc/chromium etc/opt/chrome etc/opt/edge usr/lib/mozilla; do
        expect "browsers find the native host by /$manifest" test "$(python3 -c \
            'import json, sys; print(json.load(open(sys.argv[1]))["path"])' \
            "$system/$manifest/native-messaging-hosts/com.velomira.usage_monitor.json")" = /usr/bin/velomira-browser-host
    done
    expect "Chromium finds the extension" test -s "$system/usr/share/chromium/extensions/velomira-usage-monitor/manifest.json"
    expect "Firefox finds the extension" \
        test -s "$system/usr/share/mozilla/extensions/{ec8030f7-c20a-464f-9b0e-13a3a9e97384}/usage-monitor@velomira.com.xpi"
}

travel() {
    step "Adding an account and starting the service"
    ip link set lo up
    as_service velomira-service --database /var/lib/velomira-service/service.sqlite \
        --add-user "$email" "Visitor" <<<"$password"
    start_service
    step "The journey of a user"
    inside useradd --create-home --shell /bin/bash "$user"
    local status=0
    inside runuser -u "$user" -- /run/test/root/scripts/private_desktop.sh --home "/home/$user" --keyring --terminal \
        /run/test/root/tests/packaging/journey.sh "$email" "$password" /run/test/results || status=$?
    rm -rf "$work/results"
    cp -r "$system/run/test/results" "$work/results"
    [ "$status" = 0 ] || fail "the journey failed; what there is of it is in $work/results"
    local summary
    summary=$(as_service velomira-service --database /var/lib/velomira-service/service.sqlite --summary)
    echo "$summary"
    expect "the service has what was uploaded" \
        grep -qE '^user 1: [1-9][0-9]* rows, [1-9][0-9]* seconds, 1 devices' <<<"$summary"
    kill "$service"
    wait "$service" || fail "the service ended with $?"
}

# What differs from the listing before. The empty folder /etc/opt comes from a script of another package, so the last
# package with a file below it takes it along.
changes() { diff "$work/before" <(listing) | grep '^[<>]' | grep -vx '< ./etc/opt d 755 root:root ' || true; }

remove_packages() {
    step "Purging the packages"
    inside userdel "$user"
    apt purge velomira-usage-monitor-browsers
    expect "the monitor needs no package for browsers" inside runuser -u nobody -- Quillstep --version
    expect "browsers have nothing of it" is_empty "$(find "$system/etc" "$system/usr/lib/mozilla" \
        "$system/usr/share/chromium" "$system/usr/share/mozilla" \( -name 'com.velomira*' -o -name '*usage-monitor*' \) \
        2>/dev/null)"
    apt purge velomira-usage-monitor velomira-service
    # shellcheck disable=SC2016  # dpkg's variables
    expect "dpkg knows nothing of them" is_empty "$(inside dpkg-query -W -f '${Package}\n' 'velomira*' 2>/dev/null)"
    expect "the uploads are still there" test -s "$system/var/lib/velomira-service/service.sqlite"
    expect "and have their owner" grep -q '^velomira-service:' "$system/etc/passwd"
    # As its removal says, or by another purge when there is no data.
    rm -r "$system/var/lib/velomira-service"
    quietly "$work/log/again.log" inside dpkg --install "/run/test/packages/$(cd "$packages" && echo velomira-service_*.deb)"
    quietly "$work/log/again.log" inside dpkg --purge velomira-service
    apt autoremove --purge
    expect "nothing of the system has changed" is_empty "$(changes)"
    echo "What is left in the home of the user, but for caches of others:"
    (cd "$system/home/$user" && find . -type f ! -path './.cache/*' | sort)
    expect "in the home there is nothing of ours but data, settings and cache" is_empty "$(cd "$system/home/$user" &&
        find . -ipath '*velomira*' -type f ! -path './.local/share/Velomira Usage Monitor/activity_logs.json' \
            ! -path './.local/share/Velomira Usage Monitor/.*' ! -path './.config/com.velomira.UsageMonitor/defaults.ini')"
}

case ${1:-} in
-h | --help) usage && exit 0 ;;
--in-namespace)
    packages=$2
    work=$3
    open_system "$work/system"
    open_bare_system "$(this_release)" "${tools[@]}"
    mkdir "$system/run/test/packages"
    mount --bind -o ro "$packages" "$system/run/test/packages"
    listing >"$work/before"
    install_packages
    # Without a network from here: what the programs need they have.
    unshare --net "$0" --without-network "$packages" "$work"
    remove_packages
    exit 0
    ;;
--without-network)
    packages=$2
    work=$3
    open_system "$work/system"
    travel
    exit 0
    ;;
esac

[ $# = 2 ] || { usage >&2 && exit 2; }
packages=$(realpath "$1")
for name in velomira-usage-monitor velomira-usage-monitor-browsers velomira-service; do
    [ "$(find "$packages" -name "${name}_*.deb" | wc -l)" = 1 ] || fail "there is not one package $name in $1"
done
mkdir -p "$2"
work=$(realpath "$2")
needs_namespaces
in_own_namespaces "$packages" "$work"

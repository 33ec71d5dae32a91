#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/private_desktop.sh [--home DIR] [--keyring] [--panel] COMMAND [ARGUMENT...]
#
# Runs COMMAND in a headless X11 desktop of its own: X server, window manager and session bus, with
# private HOME and XDG folders. Everything ends with COMMAND, whose exit code is passed on; SIGINT and
# SIGTERM end COMMAND first and then the desktop.
#
#   --home DIR  use DIR as HOME and leave it there afterwards (otherwise a temporary one)
#   --keyring   with an unlocked keyring
#   --panel     with a panel at the bottom that shows windows and status icons
#   --terminal  with a terminal in front
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

home=
keyring=no
panel=no
terminal=no
while [ $# -gt 0 ]; do
    case $1 in
    -h | --help) usage && exit 0 ;;
    --home) home=${2:?--home needs a folder} && shift 2 ;;
    --keyring) keyring=yes && shift ;;
    --panel) panel=yes && shift ;;
    --terminal) terminal=yes && shift ;;
    -*) fail "unknown option \"$1\" (see --help)" ;;
    *) break ;;
    esac
done
[ $# -gt 0 ] || fail "which command? (see --help)"

# Sockets live here, and a socket's path may not be long.
private=$(mktemp -d "${TMPDIR:-/tmp}/quillstep-XXXXXX")
started=()

# launch NAME COMMAND...: starts a part of the desktop in a session of its own, so that a Ctrl+C in
# the terminal reaches this script alone, which then ends the parts in order. Its file descriptor 3
# is NAME.ready, for those that report there that they are ready.
launch() {
    local name=$1
    shift
    setsid "$@" 3>"$private/$name.ready" >"$private/$name.log" 2>&1 </dev/null &
    started+=($!)
}

end_process() {
    kill "$1" 2>/dev/null || return 0
    if ! wait_until 5 eval "! kill -0 $1"; then kill -KILL "$1" 2>/dev/null || true; fi
}

# What the bus or an application started is not a child of ours, but it carries our runtime folder. Quillstep shows that to
# root only; without root it ends with the display.
strays() {
    local entry
    for entry in /proc/[0-9]*; do
        if grep -qzx "XDG_RUNTIME_DIR=$private/run" "$entry/environ" 2>/dev/null; then
            echo "${entry#/proc/}"
        fi
    done
}

command_pid=
close_desktop() {
    local status=$? i pid
    trap '' INT TERM
    trap - EXIT
    if [ -n "$command_pid" ]; then
        kill "$command_pid" 2>/dev/null || true
        wait "$command_pid" 2>/dev/null || true
    fi
    for ((i = ${#started[@]} - 1; i >= 0; i--)); do end_process "${started[i]}"; done
    for pid in $(strays); do end_process "$pid"; done
    rm -rf "$private"
    exit "$status"
}
trap close_desktop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# needs NAME CONDITION...: waits for a part; its own words say why when it does not come.
needs() {
    local name=$1
    shift
    wait_until 20 "$@" || fail "$name did not start: $(tail -n3 "$private/$name.log" | tr '\n' ' ')"
}

# All of it before the bus starts: services inherit the bus's environment, not the program's.
unset WAYLAND_DISPLAY XAUTHORITY XDG_CURRENT_DESKTOP XDG_SESSION_ID DBUS_SESSION_BUS_ADDRESS SESSION_MANAGER
export HOME=${home:-$private/home} XDG_RUNTIME_DIR=$private/run
export XDG_CONFIG_HOME=$HOME/.config XDG_DATA_HOME=$HOME/.local/share
export XDG_CACHE_HOME=$HOME/.cache XDG_STATE_HOME=$HOME/.local/state
export XDG_SESSION_TYPE=x11 QT_QPA_PLATFORM=xcb GDK_BACKEND=x11 LC_ALL=C.UTF-8 LIBGL_ALWAYS_SOFTWARE=1
export QUILLSTEP_PRIVATE_DESKTOP=1
mkdir -p "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_STATE_HOME"
mkdir -m 700 "$XDG_RUNTIME_DIR"

# -noreset: the server would otherwise reset when its first client leaves and take the others along.
launch xserver Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset
needs xserver test -s "$private/xserver.ready"
DISPLAY=:$(<"$private/xserver.ready")
export DISPLAY

launch bus dbus-daemon --session --nofork --nopidfile --print-address=3
needs bus test -s "$private/bus.ready"
DBUS_SESSION_BUS_ADDRESS=$(<"$private/bus.ready")
export DBUS_SESSION_BUS_ADDRESS

if [ $keyring = yes ]; then
    launch keyring bash -c \
        'exec gnome-keyring-daemon --foreground --unlock --components=secrets <<<"private desktop"'
    owns_secrets() {
        dbus-send --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
            string:org.freedesktop.secrets | grep -q 'boolean true'
    }
    needs keyring owns_secrets
fi

launch windows openbox
managed() { xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 0x; }
needs windows managed

if [ $panel = yes ]; then
    mkdir -p "$XDG_CONFIG_HOME/lxqt"
    cat >"$XDG_CONFIG_HOME/lxqt/panel.conf" <<'PANEL'
[General]
__userfile__=true
panels=panel1

[panel1]
position=Bottom
panelSize=32
iconSize=22
plugins=taskbar, statusnotifier

[taskbar]
alignment=Left
type=taskbar

[statusnotifier]
alignment=Right
type=statusnotifier
PANEL
    launch panel lxqt-panel
    shows_icons() {
        dbus-send --print-reply --dest=org.kde.StatusNotifierWatcher /StatusNotifierWatcher \
            org.freedesktop.DBus.Properties.Get string:org.kde.StatusNotifierWatcher \
            string:IsStatusNotifierHostRegistered | grep -q 'boolean true'
    }
    needs panel shows_icons
fi

if [ $terminal = yes ]; then
    launch terminal xterm -T Terminal -e sleep infinity
    needs terminal xdotool getactivewindow getwindowname
fi

# In the background, because the shell would otherwise look at signals only after it.
"$@" <&0 &
command_pid=$!
status=0
wait "$command_pid" || status=$?
command_pid=
exit "$status"

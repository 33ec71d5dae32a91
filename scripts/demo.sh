#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/demo.sh QUILLSTEP SECONDS SCREENSHOTS
#
# For a private desktop with a panel and a keyring: starts QUILLSTEP, signs in at its login window, and lets it
# record for SECONDS while a terminal, an editor, a picture viewer and a browser take turns being in front with
# changing titles. The browser's pages are served here, under names that lead nowhere else. Saves screenshots of the windows and the menu into the folder SCREENSHOTS and ends with a summary of
# what was recorded: whether the session lasts and, after more than a minute, whether everything arrived at the
# service. The folder of the account is in QUILLSTEP_DEMO_ACCOUNT, the service's program in
# QUILLSTEP_DEMO_SERVICE (see scripts/local_service.sh). Fails if Quillstep does not end cleanly, recorded
# nothing, is not signed in at the end or lost a second.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

[ $# = 3 ] || { usage >&2 && exit 2; }
[ -n "${QUILLSTEP_PRIVATE_DESKTOP:-}" ] || fail "only inside scripts/private_desktop.sh"
quillstep=$1
seconds=$2
screenshots=$3
output=$HOME/quillstep.txt
mkdir -p "$screenshots" "$HOME/Pictures" "$HOME/Documents"

started=()
agent=
close_applications() {
    local i
    if [ -n "$agent" ]; then started+=("$agent"); fi
    for ((i = ${#started[@]} - 1; i >= 0; i--)); do
        kill "${started[i]}" 2>/dev/null || true
        wait "${started[i]}" 2>/dev/null || true
    done
}
trap close_applications EXIT
trap 'exit 143' TERM

open_application() {
    "$@" >>"$HOME/applications.log" 2>&1 &
    started+=($!)
}

window_of() { xdotool search --onlyvisible --class "$1" 2>/dev/null | tail -n1; }
has_window() { [ -n "$(window_of "$1")" ]; }

step "Opening a terminal, an editor, a picture viewer and a browser"
for colour in "Lake:40 90 160" "Forest:40 120 70" "Sunset:210 120 60"; do
    printf 'P3\n1 1\n255\n%s\n' "${colour#*:}" >"$HOME/Pictures/${colour%%:*}.ppm"
done
printf 'Milk\nBread\n' >"$HOME/Documents/Shopping.txt"
printf 'Call back on Monday.\n' >"$HOME/Documents/Notes.txt"
# shellcheck disable=SC2016  # for the terminal's own shell
open_application xterm -geometry 80x24+20+40 -e bash -c '
    while :; do
        for title in "make all" "less manual.txt" "git log"; do
            printf "\033]0;%s\007$ %s\n" "$title" "$title"
            sleep 5
        done
    done'
open_application mousepad "$HOME/Documents/Notes.txt"
open_application feh --zoom fill --geometry 480x360+760+400 "$HOME"/Pictures/*.ppm
mkdir -p "$XDG_CONFIG_HOME/chromium" # a browser that has been used before
"$quillstep" --install-browser-support >"$HOME/browser-support.txt"
"$root/scripts/demo_pages.py" "$HOME/pages-port" &
started+=($!)
wait_until 10 test -s "$HOME/pages-port" || fail "the demonstration's web pages are not served"
# A browser does not run as root without giving up its sandbox; nothing but our own pages is opened here.
browser=(chromium --no-first-run --disable-gpu --password-store=basic --disable-background-networking
    --load-extension="$XDG_DATA_HOME/Velomira Usage Monitor/browser-support/chromium"
    --host-resolver-rules="MAP *.example 127.0.0.1:$(<"$HOME/pages-port")" "--window-size=700,500" "--window-position=500,60")
if [ "$(id -u)" = 0 ]; then browser+=(--no-sandbox); fi
browse() { open_application "${browser[@]}" "http://$1"; }
browse news.example/today
applications=(chromium xterm mousepad feh)
for application in "${applications[@]}"; do
    wait_until 30 has_window "$application" ||
        fail "$application opened no window: $(tail -n3 "$HOME/applications.log" | tr '\n' ' ')"
done

activate() {
    timeout 5 xdotool windowactivate --sync "$(window_of "$1")" >/dev/null 2>&1 ||
        fail "$1 did not come to the front"
}

# What somebody would do next in the application in front; each changes the window's title.
use() {
    case $1 in
    xterm) ;; # its shell does
    chromium)
        local pages=(wiki.example/Tea shop.example/cups?colour=blue news.example/weather wiki.example/Rain)
        browse "${pages[$2 % ${#pages[@]}]}"
        ;;
    feh) xdotool key Right ;;
    mousepad)
        if [ $(($2 % 2)) = 0 ]; then
            xdotool type "Call back on Tuesday. "
        else
            xdotool key ctrl+s
            open_application mousepad "$HOME/Documents/Shopping.txt"
        fi
        ;;
    esac
}

# session: what a Quillstep that starts now finds in the keyring.
session() { "$quillstep" --diagnose 2>>"$HOME/quillstep-errors.txt" | sed -n 's/^account: //p'; }

# stored: what the service has of the account.
stored() { "$QUILLSTEP_DEMO_SERVICE" --database "$account/service.sqlite" --summary; }

account=${QUILLSTEP_DEMO_ACCOUNT:?}

has_titled() { xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1; }
is_gone() { ! has_titled "$1"; }
has_focus() { [ "$(xdotool getactivewindow getwindowname 2>/dev/null)" = "$1" ]; }

# shot NAME: a picture of the whole screen.
shot() { scrot --overwrite "$screenshots/$1.png"; }

# window_shot TITLE NAME: a picture of the window, when it has the focus and is drawn.
window_shot() {
    wait_until 20 has_focus "$1" || fail "the window \"$1\" did not come to the front"
    sleep 0.5 # its first pictures, and the transitions in them
    scrot --overwrite --focused "$screenshots/$2.png"
}

close_window() {
    wmctrl -i -c "$(xdotool search --onlyvisible --name "^$1\$" | head -n1)"
    wait_until 10 is_gone "$1" || fail "the window \"$1\" did not close"
}

# What somebody sees who looks around: the two windows, and the menu by a click on the icon at the right end
# of the panel.
look_around() {
    "$quillstep" velomira://dashboard
    window_shot Dashboard dashboard
    "$quillstep" --action settings
    window_shot Settings settings
    close_window Settings
    close_window Dashboard
    xdotool mousemove 1264 784 click 3
    sleep 1 # the panel says nothing about its menu
    shot menu
    xdotool key Escape
}

step "Signing in as $(<"$account/email") at the login window"
stored_before=$(stored)
"$quillstep" >"$output" 2>"$HOME/quillstep-errors.txt" &
agent=$!
window_shot Login login
xdotool type "$(<"$account/email")"
xdotool key Return
xdotool type "$(<"$account/password")"
xdotool key Return
wait_until 20 has_focus Dashboard || fail "the sign-in did not lead to the dashboard: $(tail -n3 "$HOME/quillstep-errors.txt")"
close_window Dashboard

step "Recording for $seconds s"
end=$((SECONDS + seconds))
look=$((SECONDS + seconds / 6)) # early: opening the menu begins the minute until the first upload anew
turn=0
while [ "$SECONDS" -lt "$end" ]; do
    kill -0 "$agent" 2>/dev/null || break
    application=${applications[turn % ${#applications[@]}]}
    activate "$application"
    use "$application" $((turn / ${#applications[@]}))
    turn=$((turn + 1))
    # The pace of the demonstration: two to four seconds each.
    sleep $((2 + turn % 3))
    if [ -n "$look" ] && [ "$SECONDS" -ge "$look" ]; then
        shot windows
        look_around
        look=
    fi
done
shot end

step "Ending Quillstep"
status=0
kill "$agent" 2>/dev/null || true
wait "$agent" || status=$?
agent=
if [ "$status" != 0 ]; then
    tail -n5 "$output" "$HOME/quillstep-errors.txt" >&2
    fail "Quillstep ended with exit code $status instead of 0"
fi

if [ "$seconds" -ge 20 ] && ! grep -q '^Tick: .* | http://[a-z]*\.example/' "$output"; then
    fail "no address of a web page was recorded: $(<"$HOME/browser-support.txt")"
fi

after_restart=$(session)
"$quillstep" --sign-out || fail "could not sign out"
after_sign_out=$(session)

data="$XDG_DATA_HOME/Velomira Usage Monitor/activity_logs.json"
"$root/scripts/summarise.py" "$data" # what has not been uploaded
echo "Account: $after_restart after a restart, $after_sign_out after signing out"
if [ "$seconds" -ge 80 ]; then
    "$root/scripts/compare_upload.py" "$output" "$data" "$stored_before" "$(stored)"
else
    echo "Uploaded: nothing yet; the first upload comes a minute after the menu was opened"
fi
[ "$after_restart, $after_sign_out" = "signed in, signed out" ] || fail "the session was not kept as it should"
echo "What Quillstep said: $output"
echo "Screenshots: $screenshots"

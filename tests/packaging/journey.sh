#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: tests/packaging/journey.sh EMAIL PASSWORD RESULTS
#
# What an ordinary user does with the installed package, inside scripts/private_desktop.sh with a keyring and a
# terminal and with a service on port 8787: signs in, starts the program from the launcher, lets it record and upload,
# opens the dashboard by its address, asks for the diagnosis and quits. Leaves a screenshot and what was said in the
# folder RESULTS.
set -euo pipefail
# shellcheck source=../../scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

[ $# = 3 ] || { usage >&2 && exit 2; }
email=$1
password=$2
results=$3
identifier=com.velomira.UsageMonitor
data="$HOME/.local/share/Velomira Usage Monitor/activity_logs.json"
settings=$HOME/.config/$identifier/defaults.ini

# What is on the screen when something is not as it should be.
look_back() {
    local status=$?
    [ "$status" = 0 ] && return
    scrot --overwrite "$results/failure.png" || true
    tail -n20 "$XDG_RUNTIME_DIR/../bus.log" || true # what the bus starts speaks there
}
trap look_back EXIT

runs() {
    dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.NameHasOwner \
        string:$identifier | grep -q 'boolean true'
}
is_gone() { ! runs; }
has_titled() { xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1; }
has_focus() { [ "$(xdotool getactivewindow getwindowname 2>/dev/null)" = "$1" ]; }
is_without() { ! has_titled "$1"; }
# recorded TEXT: the data file has a record with TEXT; what has been uploaded is not there any more.
recorded() { grep -q "$1" "$data"; }
has_uploaded() { grep -qE '^totalRecordsSynced=[1-9]' "$settings"; }

# documented PROGRAM PAGE: each option that the program names is in its manual page.
documented() {
    local option page
    page=$(zcat "/usr/share/man/man${2##*.}/$2.gz")
    for option in $("$1" --help | grep -oE '(^|[ ,])--[a-z][a-z-]+' | tr -d ' ,'); do
        grep -qF -- "-${option#-}" <<<"${page//Fl -/--}" || fail "$option of $1 is not in $2"
    done
}

step "Versions and options"
Quillstep --version
velomira-service --version
documented Quillstep Quillstep.1
documented velomira-service velomira-service.8
velomira-browser-host chrome-extension://mhplccilcafjopbfaahhkohdjhajiigf/ </dev/null ||
    fail "the native host does not run as a browser would start it"

step "Signing in"
Quillstep --sign-in "$email" <<<"$password"
# The shortest interval; the settings are there since the sign-in.
sed -i 's/^\[General\]$/&\nsyncInterval=1/' "$settings"
grep -q '^syncInterval=1$' "$settings" || fail "the interval could not be set in $settings: $(<"$settings")"

step "Starting from the launcher"
xdotool mousemove 640 500 # somebody is there
gapplication launch $identifier
wait_until 30 runs || fail "the bus did not start the program"
wait_until 30 has_titled Dashboard || fail "the program that is signed in did not open the dashboard"
if has_titled Login; then fail "the program that is signed in opened the login window"; fi
wmctrl -F -c Dashboard
wait_until 30 is_without Dashboard || fail "the dashboard did not close"
wmctrl -F -a Terminal
wait_until 30 has_focus Terminal || fail "the terminal did not come to the front"
wait_until 30 recorded '"windowTitle":"Terminal"' || fail "the terminal was not recorded: $(<"$data")"
cp "$data" "$results/"

step "Opening the dashboard by its address"
xdotool mousemove 640 520
xdg-open velomira://dashboard
wait_until 30 has_focus Dashboard || fail "the address did not open the dashboard"
wait_until 30 recorded '"windowTitle":"Dashboard"' || fail "the dashboard was not recorded"

step "Waiting for the first upload"
wait_until 120 has_uploaded || fail "nothing was uploaded: $(<"$settings")"
scrot --overwrite "$results/dashboard.png"

step "Diagnosis"
Quillstep --diagnose >"$results/diagnosis.txt"
cat "$results/diagnosis.txt"
grep -q '^account: signed in' "$results/diagnosis.txt" || fail "the diagnosis does not say that the account is signed in"

step "Quitting"
Quillstep --action quit
wait_until 20 is_gone || fail "the program did not end"
cp "$settings" "$results/"
Quillstep --sign-out

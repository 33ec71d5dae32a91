#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# Usage: scripts/local_service.sh SERVICE DIR COMMAND [ARGUMENT...]
#
# Runs COMMAND while SERVICE, the program velomira-service, runs on port 8787 of this machine. The service
# keeps its database in the folder DIR, with a demonstration account that is made when there is none; its
# e-mail address and password are in DIR/email and DIR/password. COMMAND finds DIR in
# QUILLSTEP_DEMO_ACCOUNT and SERVICE in QUILLSTEP_DEMO_SERVICE. The service ends with COMMAND, whose exit code is passed on.
set -euo pipefail
# shellcheck source=lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

case ${1:-} in -h | --help) usage && exit 0 ;; esac
[ $# -ge 3 ] || { usage >&2 && exit 2; }
service=$1
folder=$2
shift 2
port=8787
database=$folder/service.sqlite
umask 077
mkdir -p "$folder"

service_pid=
command_pid=
end_all() {
    local status=$? pid
    trap '' INT TERM
    trap - EXIT
    for pid in $command_pid $service_pid; do
        kill "$pid" 2>/dev/null || true
        wait "$pid" 2>/dev/null || true
    done
    exit "$status"
}
trap end_all EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

if [ ! -s "$folder/password" ] || [ ! -s "$database" ]; then
    rm -f "$database" "$database"-*
    echo demo@example.org >"$folder/email"
    head -c 12 /dev/urandom | base64 | tr '+/' 'ab' >"$folder/password"
    "$service" --database "$database" --add-user "$(<"$folder/email")" "Demo User" <"$folder/password" >"$folder/service.log" 2>&1 ||
        fail "the demonstration account could not be made: $(tail -n1 "$folder/service.log")"
fi

"$service" --port "$port" --database "$database" >"$folder/service.out" 2>>"$folder/service.log" &
service_pid=$!
listens() { grep -q "listening" "$folder/service.out"; }
gave_up_or_listens() { listens || ! kill -0 "$service_pid"; }
wait_until 20 gave_up_or_listens || true
listens ||
    fail "the service did not start on port $port: $(tail -n1 "$folder/service.log")"
step "The local service runs at http://127.0.0.1:$port; sign in as $(<"$folder/email") with $(<"$folder/password")"

# In the background, because the shell would otherwise look at signals only after it.
QUILLSTEP_DEMO_ACCOUNT=$folder QUILLSTEP_DEMO_SERVICE=$service "$@" <&0 &
command_pid=$!
status=0
wait "$command_pid" || status=$?
command_pid=
exit "$status"

# shellcheck shell=bash
# SPDX-FileCopyrightText: 2026 The Velomira Usage Monitor authors
# SPDX-License-Identifier: MIT
# A Debian of a test's own, made from where this machine gets its packages, in namespaces in which nothing outlives the
# test. Sourced, never run. Only root can do this.
#
# The scripts that source this set `work`, the folder of the system and of what is kept for the next time, and have an
# option --in-namespace, with which in_own_namespaces starts them again.
# shellcheck source=../../scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"

work=

# this_release: the name of the release that this machine has.
this_release() { sed -n 's/^VERSION_CODENAME=//p' /etc/os-release; }

# In the namespaces: the system below $system.
in_system=()
open_system() {
    system=$1
    in_system=(env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive
        ${http_proxy:+"http_proxy=$http_proxy"} chroot "$system")
}

inside() { "${in_system[@]}" "$@"; }

# apt COMMAND...: with words only when it fails.
apt() { quietly "$work/log/apt-$1.log" inside apt-get -q -y --no-install-recommends "$@"; }

# sources RELEASE: a line for each of Debian's own sources of this machine, for RELEASE instead of its own.
sources() {
    # shellcheck disable=SC2016  # apt's variables
    apt-get indextargets --format '$(ORIGIN) deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' |
        sed -n 's/^Debian deb /deb /p' | sed -E "s/^(deb [^ ]+ )$(this_release)(-[a-z]+)? /\1$1\2 /" | sort -u
}

# make_system RELEASE [PACKAGE...]: what a fresh installation of RELEASE has, up to date, and PACKAGEs, in $system, and
# as $work/base.tar for the next time.
make_system() {
    local release=$1 mirror
    shift
    mirror=$(sources "$release" | awk -v release="$release" '$3 == release && $4 == "main" { print $2; exit }')
    [ -n "$mirror" ] || fail "apt has no source for the release $release"
    step "Making a bare system of $release"
    rm -rf "$system" "$work/base.tar"
    mkdir -p "$system" "$work/archives/partial"
    quietly "$work/log/debootstrap.log" debootstrap --variant=minbase --cache-dir="$work/archives" "$release" \
        "$system" "$mirror"
    sources "$release" >"$system/etc/apt/sources.list"
    # It is thrown away: nothing needs to survive a power cut, and nobody reads its manual pages.
    echo force-unsafe-io >"$system/etc/dpkg/dpkg.cfg.d/unsafe"
    mount_parts
    bring_up_to_date
    if [ $# -gt 0 ]; then
        fetch "$@"
        apt install "$@"
    fi
    unmount_parts
    tar -C "$system" -cf "$work/base.tar.new" .
    is_made_of "$release" "$@" >"$work/base.sources"
    mv "$work/base.tar.new" "$work/base.tar"
}

# is_made_of RELEASE [PACKAGE...]: what decides whether a kept system would be made otherwise now.
is_made_of() {
    sources "$1"
    shift
    [ $# = 0 ] || printf '%s\n' "$@"
}

# is_current RELEASE [PACKAGE...]: the kept system is of this week and is what would be made now.
is_current() {
    [ -n "$(find "$work/base.tar" -mtime -7 2>/dev/null)" ] && is_made_of "$@" | cmp -s - "$work/base.sources"
}

# open_bare_system RELEASE [PACKAGE...]: the kept one if it is current, else a new one, with its parts mounted.
open_bare_system() {
    if ! is_current "$@"; then
        make_system "$@"
        mount_parts
        return
    fi
    step "Unpacking the bare system"
    rm -rf "$system"
    mkdir -p "$system" "$work/archives/partial"
    tar -C "$system" -xf "$work/base.tar"
    mount_parts
    bring_up_to_date
}

# What packages need may be newer than what is there, and would bring changes that are not theirs.
bring_up_to_date() {
    quietly "$work/log/apt-update.log" inside apt-get -q update
    apt full-upgrade
}

# The kernel's file systems, what has been downloaded, and /run/test, which is the test's: the project is in its `root`.
mount_parts() {
    mount -t proc proc "$system/proc"
    mount -t tmpfs -o mode=755 tmpfs "$system/dev"
    mkdir "$system/dev/pts" "$system/dev/shm"
    mount -t devpts -o newinstance,ptmxmode=666 devpts "$system/dev/pts"
    mount -t tmpfs -o mode=1777 tmpfs "$system/dev/shm"
    ln -s pts/ptmx "$system/dev/ptmx"
    ln -s /proc/self/fd "$system/dev/fd"
    local name
    for name in null zero full random urandom tty; do
        touch "$system/dev/$name"
        mount --bind "/dev/$name" "$system/dev/$name"
    done
    mount --bind "$work/archives" "$system/var/cache/apt/archives"
    mkdir -p "$system/run/test"
    mount -t tmpfs -o mode=755 tmpfs "$system/run/test"
    mkdir "$system/run/test/root" "$system/run/test/results"
    mount --bind -o ro "$root" "$system/run/test/root"
    chmod 1777 "$system/run/test/results"
    # Names are looked up as this machine does it.
    cp /etc/resolv.conf "$system/etc/resolv.conf"
}

unmount_parts() {
    umount -R "$system/run/test" "$system/var/cache/apt/archives" "$system/dev" "$system/proc"
    rmdir "$system/run/test"
}

# fetch PACKAGE...: what this machine has downloaded before need not come again.
fetch() {
    local name
    inside apt-get -q -y --no-install-recommends --print-uris install "$@" | awk '/^.http/ { print $2 }' |
        while read -r name; do
            if [ -e "/var/cache/apt/archives/$name" ] && [ ! -e "$work/archives/$name" ]; then
                cp "/var/cache/apt/archives/$name" "$work/archives/"
            fi
        done
}

# Whoever cannot do this skips the test, with exit code 77.
needs_namespaces() {
    [ "$(id -u)" = 0 ] || { echo "only root can make a system of its own" && exit 77; }
    local program
    for program in debootstrap unshare ip; do
        command -v $program >/dev/null || fail "$program is not installed: scripts/setup.sh test"
    done
    unshare --mount --pid --net --fork true || { echo "this machine lets nobody have namespaces of their own" && exit 77; }
}

# in_own_namespaces ARGUMENT...: runs this script anew with --in-namespace ARGUMENT..., and exits as it does. The first
# process of the namespace ends the others with it, and then nothing is mounted any more.
namespace=
in_own_namespaces() {
    mkdir -p "$work/log"
    trap leave_namespaces EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    # The first process ends with this one, whatever ends it.
    setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child=KILL "$0" --in-namespace "$@" &
    namespace=$!
    local status=0
    wait $namespace || status=$?
    namespace=
    exit $status
}

leave_namespaces() {
    local status=$?
    trap '' INT TERM
    trap - EXIT
    if [ -n "$namespace" ]; then
        kill -KILL "$namespace" 2>/dev/null || true
        wait "$namespace" 2>/dev/null || true
    fi
    rm -rf --one-file-system "$work/system"
    exit "$status"
}

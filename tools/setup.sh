#!/usr/bin/env bash
# Installs what the project needs on a Debian 12 machine (as root) and makes private Wine prefixes.
# One line a step on stdout, everything else in build/logs/setup.log. Quick when all is there already.
#
# usage: tools/setup.sh "PREFIX..." [PACKAGE...]
#   prefixes to make in build/ (wine wine-checked); further packages that only the caller needs (say alsa-utils)
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

packages=(g++-mingw-w64-i686-win32 ninja-build cmake wine wine32:i386 xvfb xauth doctest-dev libcli11-dev
    fonts-wine "${@:2}")

installed() { # PACKAGE[:ARCH]: is it there, in the given or the machine's own architecture?
    local state
    state=$(dpkg-query -W -f='${db:Status-Abbrev}\n' "$1" 2>/dev/null) || return 1
    grep -q '^ii' <<<"$state"
}

missing() {
    local package
    for package in "${packages[@]}"; do
        installed "$package" || printf '%s\n' "$package"
    done
}

# The first Debian mirror that this machine's own sources name.
mirror() {
    local found
    found=$( (grep -hE '^URIs:' /etc/apt/sources.list.d/*.sources 2>/dev/null | sed 's/^URIs:[[:space:]]*//'
        grep -hE '^deb[[:space:]]' /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
            sed -E 's/^deb[[:space:]]+(\[[^]]*\][[:space:]]*)?//' | awk '{print $1}') |
        grep -E '/debian/?$' | head -n 1) || true
    [ -n "$found" ] || { echo "no Debian mirror in /etc/apt" >&2; return 1; }
    printf '%s\n' "$found"
}

install_from_all_suites() {
    apt-get update || return 1
    apt-get install -y --no-install-recommends "$@"
}

# When the security suite's i386 index lags behind its amd64 one, nothing fits together. The plain release does;
# libraries that came from the security suite then step back to it, in both architectures alike.
install_from_release() {
    local state=$PWD/build/apt
    mkdir -p "$state/lists/partial"
    printf 'deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] %s bookworm main\n' "$(mirror)" \
        >"$state/sources.list"
    local options=(-o "Dir::Etc::SourceList=$state/sources.list" -o Dir::Etc::SourceParts=/dev/null
        -o "Dir::State::Lists=$state/lists")
    apt-get "${options[@]}" update || return 1
    apt-get "${options[@]}" install -y --no-install-recommends --allow-downgrades "$@"
}

install_missing() {
    local wanted
    mapfile -t wanted < <(missing)
    [ "${#wanted[@]}" -gt 0 ] || { say "packages: all there"; return; }
    [ "$(id -u)" -eq 0 ] || die "packages missing (${wanted[*]}) and not root: install them or run as root"
    export DEBIAN_FRONTEND=noninteractive
    say "packages: installing ${wanted[*]}"
    dpkg --add-architecture i386
    if install_from_all_suites "${wanted[@]}" >>"$log" 2>&1; then
        say "packages: installed from this machine's own sources"
    elif install_from_release "${wanted[@]}" >>"$log" 2>&1; then
        say "packages: installed from the suite bookworm alone (the normal sources did not fit together)"
    else
        failed "installing packages"
    fi
}

make_prefix() { # NAME
    export WINEPREFIX=$PWD/build/$1
    local done_mark=$WINEPREFIX/.ready
    [ -e "$done_mark" ] && { say "Wine prefix build/$1: there"; return; }
    say "Wine prefix build/$1: making it"
    rm -rf "$WINEPREFIX"
    mkdir -p "$(dirname "$WINEPREFIX")"
    start_display
    {
        timeout 180 wineboot -i &&
            # A crash must end the program, not wait behind a dialog.
            wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f &&
            wine reg add 'HKCU\Software\Wine\Drivers' /v Audio /t REG_SZ /d '' /f &&
            # Without a window manager each managed top-level window would cost two seconds when it goes.
            wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /t REG_SZ /d N /f &&
            timeout 60 wineserver -w
    } >>"$log" 2>&1 </dev/null || failed "making the Wine prefix"
    touch "$done_mark"
}

open_log setup
install_missing
for prefix in $1; do
    make_prefix "$prefix"
done

# Shared by the scripts: step lines, logs, private Wine prefixes and their display. Source it from the top folder.

export WINEARCH=win32 WINEDLLOVERRIDES="mscoree,mshtml=" WINEDEBUG=-all LC_ALL=C.UTF-8
export WINEPREFIX=$PWD/build/wine # release builds; tests of other builds have build/wine-PRESET

say() { printf '%s\n' "$*"; }
die() {
    printf 'error: %s\n' "$*" >&2
    exit 1
}

open_log() { # NAME: later failures point to build/logs/NAME.log
    log=$PWD/build/logs/$1.log
    mkdir -p "$PWD/build/logs"
    : >"$log"
}

failed() { # WHAT
    tail -n 15 "$log" >&2 || true
    die "$1 failed; the full output is in $log"
}

quietly() { # WHAT COMMAND...: a step whose output goes to the log
    local what=$1
    shift
    say "$what"
    "$@" >>"$log" 2>&1 </dev/null || failed "$what"
}

# Starts Xvfb on a free display. It must run before the first wine call of a prefix's life, or windows fail.
start_display() {
    [ -n "${display_pid:-}" ] && return
    local number_file
    number_file=$(mktemp)
    Xvfb -displayfd 3 -screen 0 1600x1200x24 -nolisten tcp 3>"$number_file" >/dev/null 2>&1 &
    display_pid=$!
    trap stop_display EXIT
    local tries=0
    until [ -s "$number_file" ]; do
        tries=$((tries + 1))
        [ "$tries" -lt 100 ] || die "Xvfb did not start"
        sleep 0.1
    done
    DISPLAY=:$(cat "$number_file")
    export DISPLAY
    rm -f "$number_file"
}

# Ends only what start_display and these prefixes started.
stop_display() {
    set +e # the script's own status stays
    local prefix
    for prefix in "$PWD/build/wine" "$PWD"/build/wine-*; do
        [ -d "$prefix" ] && WINEPREFIX=$prefix timeout 30 wineserver -k >/dev/null 2>&1
    done
    [ -n "${display_pid:-}" ] && kill "$display_pid" 2>/dev/null
    return 0
}

build() { # PRESET TARGET...
    local preset=$1
    shift
    quietly "build: configuring $preset" cmake --preset "$preset"
    quietly "build: compiling $preset" cmake --build --preset "$preset" --target "$@"
}

own_files() { # SUFFIX...: the project's files that end so, one a line
    local suffix names=()
    for suffix in "$@"; do names+=(-o -name "*$suffix"); done
    find . \( -path ./build -o -path ./.git \) -prune -o -type f \( "${names[@]:1}" \) -print | sed 's|^\./||' | sort
}

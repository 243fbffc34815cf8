#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over what the release build compiled, which must be up to date. Left out are the tests
# (clang 14 can't read their lambdas that capture structured bindings), the benchmarks (not always built), and what
# passed before and has not changed: the source, its headers as the build knows them, the settings.
#
# usage: tools/check_tidy.sh [PREFIX]     only sources whose path begins so, say tests/ or dsp/clDSP
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

passed=$PWD/build/tidy # one empty file for each source's state that passed
gcc_headers=$(echo /usr/lib/gcc/i686-w64-mingw32/*-win32/include/c++)

tidy_one() { # STATE SOURCE
    local options=(-p build/release --quiet --extra-arg=--target=i686-w64-mingw32)
    local folder findings
    for folder in "$gcc_headers" "$gcc_headers/i686-w64-mingw32" /usr/i686-w64-mingw32/include; do
        options+=("--extra-arg=-isystem$folder")
    done
    # The analyzer would spend half a minute in the templates of the argument parser.
    [ "$2" != dxconv/CommandLine.cpp ] || options+=('--checks=-clang-analyzer-*')
    if findings=$(nice clang-tidy "${options[@]}" "$2" 2>&1); then
        : >"$passed/$1"
    else
        grep -v 'warnings\? generated' <<<"$findings"
        return 1
    fi
}
export -f tidy_one
export passed gcc_headers

# Lines "SOURCE FILE...": each source with the project's files that it is made of. Ninja knows them by object,
# the source first.
parts() {
    ninja -C build/release -t deps | awk -v top="$PWD/" '
        /^[^ ]/ { if (line != "") print line; line = "" }
        /^    / {
            file = $1
            sub(/^(\.\.\/)+/, "", file)
            if (index(file, top) == 1) file = substr(file, length(top) + 1)
            if (file !~ /^\/|^build\//) line = line file " "
        }
        END { if (line != "") print line }' | sort -u
}

chosen() { # SOURCE
    [[ $1 == "$prefix"*.cpp && -e $1 && (-n $prefix || ! $1 =~ ^(tests|bench)/) ]]
}

prefix=${1:-}
mkdir -p "$passed"
settings=$(cat .clang-tidy "${BASH_SOURCE[0]}" | sha256sum)
sources=0 changed=()
while read -r -a files; do
    chosen "${files[0]}" || continue
    sources=$((sources + 1))
    state=$( (echo "$settings" && sha256sum "${files[@]}") | sha256sum)
    state=${state%% *}
    [ -e "$passed/$state" ] || changed+=("$state" "${files[0]}")
done < <(parts)
[ "$sources" -gt 0 ] || die "build/release has no such source: build it first"
say "clang-tidy: $((${#changed[@]} / 2)) of $sources sources have changed since they passed"
[ ${#changed[@]} -eq 0 ] || printf '%s\n' "${changed[@]}" | xargs -n 2 -P "$(nproc)" bash -c 'tidy_one "$@"' tidy_one ||
    die "clang-tidy has findings"

#!/usr/bin/env bash
# Fails, with file and line, where a folder includes what it may not, or a source doesn't include the header beside
# it first (so that each such header compiles alone). Each row: a folder, then the folders and single files that it
# may include besides itself. The row of the longest folder counts.
#
# usage: tools/check_includes.sh
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

rules='
support
dxhost/base   support
dxhost        dxhost/base support
xui           support
config        dxhost xui support resources dsp/CMemBuff.h dsp/CLockObj.h
dsp           config dxhost support resources version.h
effects/echo  dxhost/base support resources version.h
dxconv        config support dsp/dsp_api.h dxhost/CDXClient.h effects/echo/guids.h
resources     version.h
examples      dsp/dsp_api.h
benchmarks    config dsp dxconv dxhost dxhost/base effects/echo support
tests         config dsp dxconv dxhost dxhost/base effects/echo support resources xui
'

mapfile -t files < <(own_files .h .cpp .c .rc)
awk -v rules="$rules" '
function row_of(path) { # the longest folder with a row
    while (sub(/\/[^\/]*$/, "", path))
        if (path in row) return path
    return ""
}
BEGIN {
    count = split(rules, lines, "\n")
    for (i = 1; i <= count; ++i)
        if (split(lines[i], words, " ")) row[words[1]] = " " lines[i] " "
    for (i = 1; i < ARGC; ++i) is_file[ARGV[i]]
}
FNR == 1 { home = row_of(FILENAME) }
FNR == 1 && home == "" { print FILENAME ":1: its folder has no row in tools/check_includes.sh"; bad = 1 }
FNR == 1 {
    own = FILENAME
    if (!sub(/\.cpp$/, ".h", own) || !(own in is_file)) own = ""
}
own != "" && /^[ \t]*#[ \t]*include/ {
    if (index($0, "\"" own "\"") == 0) { print FILENAME ":" FNR ": includes " own " only after " $0; bad = 1 }
    own = ""
}
home != "" && /^[ \t]*#[ \t]*include[ \t]*"/ {
    split($0, quoted, "\"")
    wanted = quoted[2]
    folder = row_of(wanted)
    if (folder == home || index(row[home], " " wanted " ") || (folder != "" && index(row[home], " " folder " "))) next
    print FILENAME ":" FNR ": " home "/ may not include " $0
    bad = 1
}
END { exit bad }' "${files[@]}" || die "includes against the direction; who may include whom: docs/architecture.md"
say "includes: ${#files[@]} files keep the direction"

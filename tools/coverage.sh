#!/usr/bin/env bash
# Sums up by folder which lines the tests ran in build/coverage, and puts the table into docs/testing.md.
#
# usage: tools/coverage.sh [--print]     after ./test --coverage; --print: only here, say because a part was run
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

folders='support dxhost/base dxhost dsp xui config effects/echo dxconv'
files=build/coverage/lines.csv
open_log coverage
# Processes that end at the same time may merge a counter of a branch wrongly (-1): such a line is passed over.
quietly "coverage: reading what was counted" gcovr --root . --object-directory build/coverage \
    --gcov-executable i686-w64-mingw32-gcov --filter "($(tr ' ' '|' <<<"$folders"))/" \
    --gcov-ignore-parse-errors --csv --output "$files"

# Columns by their names: file name, lines that hold code, lines that ran.
table=$(awk -F, -v folders="$folders" '
    NR == 1 { for (i = 1; i <= NF; ++i) column[$i] = i; next }
    {
        folder = $column["filename"]
        sub(/\/[^\/]*$/, "", folder)
        total[folder] += $column["line_total"]
        ran[folder] += $column["line_covered"]
        total["all"] += $column["line_total"]
        ran["all"] += $column["line_covered"]
    }
    END {
        print "| folder | lines of code | run by the tests |\n|---|--:|--:|"
        count = split(folders " all", names, " ")
        for (i = 1; i <= count; ++i)
            if (total[names[i]] > 0)
                printf "| %s | %d | %.1f %% |\n", names[i] == "all" ? "all" : "`" names[i] "`", total[names[i]],
                    100 * ran[names[i]] / total[names[i]]
    }' "$files")
[ "$(wc -l <<<"$table")" -gt 2 ] || die "nothing was counted; run ./test --coverage"
say "$table"
[ "${1:-}" = --print ] && exit

page=docs/testing.md
grep -q '<!-- coverage begins -->' "$page" && grep -q '<!-- coverage ends -->' "$page" ||
    die "$page: the marks around the table are gone"
changed=$(awk -v table="$table" '
    /<!-- coverage ends -->/ { inside = 0 }
    !inside { print }
    /<!-- coverage begins -->/ { inside = 1; print table }' "$page")
printf '%s\n' "$changed" >"$page"

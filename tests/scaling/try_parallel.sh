#!/usr/bin/env bash
# Four files through Echo, two at a time with GNU parallel as docs/scaling.md shows it: byte for byte what one
# after the other gives.
#
# usage: tests/scaling/try_parallel.sh BUILD_FOLDER     DISPLAY must be set; registers Echo in build/wine
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/lib.sh
. tests/wav.sh

build=$1
work=$build/scaling
rm -rf "$work"
mkdir -p "$work/in" "$work/out" "$work/serial"
for frames in 4000 8000 12000 16000; do # any bytes make noise: here the program's own
    (wav_head $frames && head -c $((2 * frames)) "$build/dxconv.exe") >"$work/in/take $frames.wav"
done
export DXCONV=$build/dxconv.exe

trap 'timeout 60 wine regsvr32 /u /s "$build/echo.dll" || true' EXIT
timeout 60 wine regsvr32 /s "$build/echo.dll"
cd "$work"
# The example of docs/scaling.md, as it stands there.
example=$(sed -n '/^    parallel --jobs 2 /s/^ *//p' "$OLDPWD/docs/scaling.md")
[ -n "$example" ] || die "docs/scaling.md: the example is gone"
bash -c "$example"
for file in in/*.wav; do timeout 120 wine "$DXCONV" convert "$file" "serial/${file#in/}" --effect Echo --quiet; done
diff -r serial out
[ "$(wc -l <jobs.log)" -eq 5 ] || die "jobs.log does not have a line for each of the four files"
[ "$(wc -c <"out/take 4000.wav")" -gt "$(wc -c <"in/take 4000.wav")" ] || die "Echo added no tail"
say "scaling: two at a time gave the same bytes as one after the other"

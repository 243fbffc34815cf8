#!/usr/bin/env bash
# Makes the zip, unpacks it and uses it as someone does who has nothing else: in a fresh Wine prefix Echo is
# registered, converts a short sound and is unregistered.
#
# usage: tests/packaging/try_zip.sh BUILD_FOLDER VERSION     DISPLAY must be set
set -euo pipefail
cd "$(dirname "$0")/../.."
. tools/lib.sh
. tests/wav.sh

build=$1 version=$2
name=dxwrapper-$version-win32
(cd "$build" && cpack -G ZIP >/dev/null)

work="$build/packaging/a folder (of its own)"
rm -rf "$build/packaging"
mkdir -p "$work"
export WINEPREFIX=$build/packaging/wine
(cd "$work" && cmake -E tar xf "$build/$name.zip")
cd "$work/$name"
for file in README.md CHANGELOG.md LICENSE dsp/dsp_api.h docs/testing.md licences/libcli11-dev.txt; do
    [ -s "$file" ] || die "$name.zip: $file is missing or empty"
done
leftover=$(find . -name '*.a' -o -name '*.h' ! -path './dsp/dsp_api.h' ! -path './examples/*')
[ -z "$leftover" ] || die "$name.zip: $leftover should not be in it"
for file in dxwrapper.dll dxconv.exe echo.dll; do
    texts=$(i686-w64-mingw32-strings -el "$file")
    grep -A 1 -x FileVersion <<<"$texts" | grep -x "$version" >/dev/null || die "$file: its version block is not $version's"
done

trap 'timeout 30 wineserver -k || true' EXIT
timeout 180 wineboot -i >/dev/null 2>&1 </dev/null || die "making the Wine prefix failed"
timeout 60 wine reg add 'HKCU\Software\Wine\Drivers' /v Audio /t REG_SZ /d '' /f >/dev/null 2>&1 # no noise of ALSA
dxconv() { timeout 120 wine dxconv.exe "$@" </dev/null | tr -d '\r'; }
command_file() { timeout 120 wine cmd /c "$1" </dev/null | tr -d '\r'; }

[ "$(dxconv --version)" = "dxconv $version" ] || die "dxconv --version does not say $version"
lists_echo() { grep '  Echo$' <<<"$(dxconv effects)" >/dev/null; }
if lists_echo; then die "Echo is there before install.cmd ran"; fi
command_file install.cmd
lists_echo || die "dxconv effects does not list Echo after install.cmd"

# 250 ms of a constant 10000.
(
    wav_head 2000
    for ((i = 0; i < 2000; ++i)); do little_endian 10000 2; done
) >in.wav
dxconv convert in.wav out.wav --effect Echo --quiet
# Echo's initial values: 65 % of it at once, 35 % of it 250 ms later, then 40 % of the last every 250 ms. Of the
# first of these that counts as silent (0.0004 of full scale) only the rest of a piece of 512 frames is kept.
heard=$(tail -c +45 out.wav | od -An -v -w2 -td2 | uniq -c | awk '{ printf "%dx%d ", $1, $2 }')
expected='2000x6500 2000x3500 2000x1400 2000x560 2000x224 2000x90 2000x36 2000x14 336x6 '
[ "$heard" = "$expected" ] || die "what is heard (frames x value) is '$heard', not '$expected'"

# A command file that can't do its work says so.
mkdir alone
cp install.cmd alone/
if command_file 'alone\install.cmd'; then die "install.cmd without echo.dll beside it gave exit code 0"; fi
command_file uninstall.cmd
if lists_echo; then die "Echo is still there after uninstall.cmd ran"; fi
say "packaging: $build/$name.zip unpacks, installs, converts and uninstalls"

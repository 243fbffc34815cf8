#!/usr/bin/env bash
# Mutated input for the decoders that make no system call, built for this machine with clang's fuzzer, address
# and undefined-behaviour sanitizers. Any disagreement with the plain reading, report or leak ends it with 1.
#
# usage: tools/fuzz.sh [RUNS | SECONDSs] [TARGET...]   10000000 runs each; 60s = a minute each
#   targets: settings plugins wav. New inputs stay in build/fuzz/TARGET, logs and findings in build/fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

amount=${1:-10000000}
case $amount in
*s) limit=-max_total_time=${amount%s} ;;
*) limit=-runs=$amount ;;
esac
[[ ${amount%s} =~ ^[0-9]+$ ]] || die "'$amount' is no number of runs or seconds"
targets=("${@:2}")
[ ${#targets[@]} -gt 0 ] || targets=(settings plugins wav)
declare -A agrees=([settings]=SettingsAgree [plugins]=PlugInsAgree [wav]=WavAgrees)
declare -A longest=([settings]=1300 [plugins]=600 [wav]=512) # bytes; a name may have 1,022

if ! command -v clang++ >/dev/null || ! compgen -G '/usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-*' >/dev/null; then
    tools/setup.sh "" clang libclang-rt-14-dev
fi
mkdir -p build/fuzz
open_log fuzz
for target in "${targets[@]}"; do
    [ -n "${agrees[$target]:-}" ] || die "there is no target '$target'"
    quietly "build: $target" clang++ -std=c++20 -O2 -g -fno-omit-frame-pointer -fshort-wchar -D_GLIBCXX_ASSERTIONS \
        -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all -Wall -Wextra -Werror \
        -I. -Itests/fuzz/native -DDXW_AGREES="${agrees[$target]}" -o "build/fuzz/fuzz_$target" \
        tests/fuzz/native/fuzz_main.cpp tests/fuzz/decoders.cpp dsp/CMemBuff.cpp dsp/settings_text.cpp \
        config/CStructArray.cpp config/PlugInElem.cpp config/plugin_blob.cpp dxconv/CWavReader.cpp
done
# Little held back from reuse: most blocks are small and short-lived, and speed is what counts here.
export ASAN_OPTIONS=quarantine_size_mb=4:malloc_context_size=3
status=0
for target in "${targets[@]}"; do
    mkdir -p "build/fuzz/$target"
    result=0
    "build/fuzz/fuzz_$target" "$limit" "-max_len=${longest[$target]}" -timeout=5 -rss_limit_mb=1024 \
        "-artifact_prefix=build/fuzz/finding-$target-" -print_final_stats=1 \
        "build/fuzz/$target" "tests/fuzz/corpus/$target" >"build/fuzz/$target.log" 2>&1 || result=$?
    # The fuzzer's last line of state, and how long it took.
    edges=$(grep -oE 'cov: [0-9]+' "build/fuzz/$target.log" | tail -n 1)
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "build/fuzz/$target.log")
    seconds=$(sed -nE 's/^Done .* in ([0-9]+) second.*/\1/p' "build/fuzz/$target.log")
    say "fuzz: $target: ${runs:-?} runs in ${seconds:-?} s, edges ${edges:-cov: ?}, $([ "$result" -eq 0 ] && echo no finding || echo "FINDING, see build/fuzz/$target.log")"
    [ "$result" -eq 0 ] || status=1
done
exit "$status"

#!/usr/bin/env bash
# Fails, with the place, where a source differs from what clang-format makes of it.
#
# usage: tools/check_format.sh     to mend: clang-format -i FILE
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

mapfile -t files < <(own_files .h .cpp .c)
clang-format --dry-run --Werror "${files[@]}"
say "format: ${#files[@]} files are as clang-format makes them"

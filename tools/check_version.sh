#!/usr/bin/env bash
# Fails when the changelog's newest heading isn't the project's version, the one place where it is set.
#
# usage: tools/check_version.sh
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/lib.sh

version=$(sed -nE 's/^project\(.* VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
newest=$(grep -nm 1 '^## ' CHANGELOG.md)
[[ $newest =~ ^[0-9]+:##\ ([0-9.]+)( |$) && ${BASH_REMATCH[1]} == "$version" ]] ||
    die "CHANGELOG.md:$newest: the version in CMakeLists.txt is $version"
say "version: $version in the changelog, too"

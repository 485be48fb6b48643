#!/bin/sh
# The same version everywhere: version.sh VERSION PROGRAM, run at the top.
set -eu
same() { [ "$1" = "$2" ] || { echo "$3 says $2 instead of $1"; exit 1; }; }
same "qvtx $1" "$("$2" --version)" "qvtx --version"
same "$1" "$(sed -n 's/^version = "\(.*\)"$/\1/p' python/pyproject.toml)" python/pyproject.toml
same "$1" "$(sed -n 's/^## \([^ ]*\).*/\1/p' CHANGELOG.md | head -n 1)" "the first section of CHANGELOG.md"

#!/bin/sh
# Without root and sudo a script that lacks a package names it in one line: need.sh, run at the top.
set -eu
tools=$(mktemp -d)
trap 'rm -rf "$tools"' EXIT
printf '#!/bin/sh\necho 1000\n' > "$tools/id"
chmod +x "$tools/id"
ln -s "$(command -v grep)" "$(command -v true)" "$tools"
said=$(PATH=$tools; (. scripts/lib.sh; need qvtx-no-such-package qvtx-nor-this) 2>&1) && exit 1
[ "$said" = "neither root nor sudo here: ask for the packages qvtx-no-such-package qvtx-nor-this" ] || { echo "$said"; exit 1; }

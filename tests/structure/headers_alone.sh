#!/bin/sh
# Every header compiles as the first and only one of a source: headers_alone.sh COMPILER, run in src/.
set -eu
headers=$(find . -name '*.h' | sort)
[ -n "$headers" ]
echo "$headers" | xargs -P "$(nproc)" -I HEADER \
  "$1" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -I . -DQVTX_ISA=baseline -include HEADER -x c++ /dev/null
echo "$headers" | wc -l

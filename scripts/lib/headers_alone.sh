#!/bin/bash
# Checks with clang, for Windows, that every header of the product compiles alone: each includes what it needs. Builds
# nothing.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/clang_for_windows.sh"

# The headers as sources include them, each name ended by a NUL.
product_headers() { find "$KORVEL_ROOT/src" "$KORVEL_ROOT/tools" -name '*.h' -printf '%P\0'; }

# compiles_alone FLAG... HEADER: a source that includes nothing else compiles.
compiles_alone() {
  local header=${!#}
  clang++ "${@:1:$#-1}" -fsyntax-only -x c++ - <<<"#include \"$header\"" && return
  echo "does not compile alone: $header"
  return 1
}
export -f compiles_alone

product_headers | xargs -0 -n 1 -P "$(nproc)" bash -c 'compiles_alone "$@"' headers_alone "${CLANG_FOR_WINDOWS[@]}"
echo "$(product_headers | tr -cd '\0' | wc -c) headers compile alone"

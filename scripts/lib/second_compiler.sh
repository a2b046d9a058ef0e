#!/bin/bash
# Checks with clang, for Windows and with its thread-safety analysis, every source of the product that the native build
# has not: that build is clang's too, and has the same warnings. Builds nothing.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/clang_for_windows.sh"

# By themselves, or as one of several that are compiled as one.
built_natively() {
  local native=$KORVEL_BUILD/native
  if [[ ! -f $native/compile_commands.json ]]; then return 0; fi
  sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$native/compile_commands.json"
  find "$native" -name 'unity_*.cxx' -exec sed -n 's/^#include "\(.*\)"$/\1/p' {} +
}
only_windows_sources() { product_sources | grep -zvxFf <(built_natively); }

only_windows_sources | xargs -0 -n 1 -P "$(nproc)" clang++ "${CLANG_FOR_WINDOWS[@]}" -fsyntax-only
echo "$(only_windows_sources | tr -cd '\0' | wc -c) sources read"

#!/bin/bash
# Checks with clang, for Windows and with its thread-safety analysis, every source of the product that the native build
# has not: that build is clang's too, and has the same warnings. Builds nothing.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/clang_for_windows.sh"

# parts_of FOLDER: the sources that a build below FOLDER compiles several as one.
parts_of() { find "$1" -name 'unity_*.cxx' -exec sed -n 's/^#include "\(.*\)"$/\1/p' {} + 2>/dev/null; }
built_natively() {
  local native=$KORVEL_BUILD/native
  if [[ ! -f $native/compile_commands.json ]]; then return 0; fi
  sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$native/compile_commands.json"
  parts_of "$native"
}
only_windows_sources() { product_sources | grep -zvxFf <(built_natively); }

# What clang reads: what the build of the product compiles as one, it reads as one.
windows_units() {
  local unit release=$KORVEL_BUILD/release/tools
  only_windows_sources | grep -zvxFf <(parts_of "$release")
  while IFS= read -r -d '' unit; do
    if sed -n 's/^#include "\(.*\)"$/\1/p' "$unit" | grep -qvxFf <(built_natively); then printf '%s\0' "$unit"; fi
  done < <(find "$release" -name 'unity_*.cxx' -print0 2>/dev/null)
}

windows_units | xargs -0 -n 1 -P "$(nproc)" clang++ "${CLANG_FOR_WINDOWS[@]}" -fsyntax-only
echo "$(only_windows_sources | tr -cd '\0' | wc -c) sources read"

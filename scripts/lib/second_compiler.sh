#!/bin/bash
# Checks every source of the product with clang, for Windows and with its thread-safety analysis. Builds nothing.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/clang_for_windows.sh"

product_sources | xargs -0 -n 1 -P "$(nproc)" clang++ "${CLANG_FOR_WINDOWS[@]}" -fsyntax-only
echo "$(product_sources | tr -cd '\0' | wc -c) sources read"

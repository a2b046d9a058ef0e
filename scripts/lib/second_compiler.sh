#!/bin/bash
# Lets clang read every source of the product for Windows, with its thread-safety analysis. Builds nothing.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

gcc=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")
flags=(--target=x86_64-w64-windows-gnu "-stdlib++-isystem$gcc/include/c++"
  -isystem "$gcc/include/c++/x86_64-w64-mingw32" -isystem "$gcc/include/c++/backward"
  -std=c++20 -municode -DUNICODE -D_UNICODE -D_WIN32_WINNT=0x0A00
  -I "$KORVEL_ROOT/src" -I "$KORVEL_ROOT/tools" -isystem "$KORVEL_BUILD/release/third_party"
  -Wall -Wextra -Wconversion -Wshadow -Wthread-safety -Werror -fsyntax-only)

cd "$KORVEL_ROOT"
find src tools -name '*.cpp' ! -name '*_native.cpp' -print0 |
  xargs -0 -n 1 -P "$(nproc)" clang++ "${flags[@]}"
echo "$(find src tools -name '*.cpp' ! -name '*_native.cpp' | wc -l) sources read"

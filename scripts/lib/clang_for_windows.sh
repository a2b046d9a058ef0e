# shellcheck shell=bash
# How clang reads the product's sources: for Windows, with the headers of the compiler that builds it. Needs common.sh.

gcc_include=$(dirname "$(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name)")/include/c++
# shellcheck disable=SC2034
CLANG_FOR_WINDOWS=(--target=x86_64-w64-windows-gnu "-stdlib++-isystem$gcc_include"
  -isystem "$gcc_include/x86_64-w64-mingw32" -isystem "$gcc_include/backward"
  -std=c++20 -municode -DUNICODE -D_UNICODE -D_WIN32_WINNT=0x0A00
  -I "$KORVEL_ROOT/src" -I "$KORVEL_ROOT/tools" -isystem "$KORVEL_BUILD/release/third_party"
  -Wall -Wextra -Wconversion -Wshadow -Wthread-safety -Werror)

# The product's sources, each name ended by a NUL.
product_sources() { find "$KORVEL_ROOT/src" "$KORVEL_ROOT/tools" -name '*.cpp' ! -name '*_native.cpp' -print0; }

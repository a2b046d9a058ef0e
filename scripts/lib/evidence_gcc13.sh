#!/bin/bash
# Builds the pure half with GCC 13, each warning an error, as far as the system has that compiler beside its own.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/packages.sh"

ensure_command g++-13 g++-13
cd "$KORVEL_ROOT"
cmake --preset bench -B build/gcc13 -DCMAKE_CXX_COMPILER=g++-13 -DCMAKE_C_COMPILER=gcc-13 -DKORVEL_WERROR=ON
cmake --build build/gcc13
g++-13 --version | head -n 1

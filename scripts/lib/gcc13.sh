#!/bin/bash
# Builds the pure half with GCC 13, each warning an error, as far as the system has that compiler beside its own.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/packages.sh"

if ! command -v g++-13 >/dev/null; then
  find_root || die "g++-13 is missing"
  quietly "$KORVEL_LOGS/packages.log" "${AS_ROOT[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends g++-13 || die "g++-13 cannot be installed"
fi
cd "$KORVEL_ROOT"
cmake --preset bench -B build/gcc13 -DCMAKE_CXX_COMPILER=g++-13 -DCMAKE_C_COMPILER=gcc-13 -DKORVEL_WERROR=ON
cmake --build build/gcc13
g++-13 --version | head -n 1

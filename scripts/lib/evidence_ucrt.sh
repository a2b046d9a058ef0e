#!/bin/bash
# Builds the preset "windows" as MSYS2's UCRT64 would, with the cross compiler for the same run-time library, each warning
# an error. The executables must need nothing but Windows, and start.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/packages.sh"
source "$KORVEL_ROOT/scripts/lib/wine.sh"

COMPILER=x86_64-w64-mingw32ucrt-
FOLDER=$KORVEL_BUILD/ucrt
PREFIX=$KORVEL_WINE/ucrt

ensure_command "${COMPILER}g++" g++-mingw-w64-ucrt64
cd "$KORVEL_ROOT"
cmake --preset windows -B "$FOLDER" -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_C_COMPILER=${COMPILER}gcc \
  -DCMAKE_CXX_COMPILER=${COMPILER}g++ -DKORVEL_WERROR=ON
cmake --build "$FOLDER"

for program in KorvelService korvelctl; do
  libraries=$(${COMPILER}objdump -p "$FOLDER/bin/$program.exe" | sed -n 's/.*DLL Name: //p')
  printf '%s needs %s\n' "$program" "${libraries//$'\n'/ }"
  if grep -iE '^lib' <<<"$libraries"; then die "$program.exe needs a library that is not part of Windows"; fi
done

ensure_template
copy_prefix "$PREFIX"
trap 'end_prefix "$PREFIX"' EXIT
mkdir -p "$PREFIX/drive_c/Korvel"
cp -r "$FOLDER"/bin/* "$PREFIX/drive_c/Korvel/"
in_prefix "$PREFIX" 'C:\Korvel\KorvelService.exe' --console </dev/null >"$FOLDER/service.log" 2>&1 &
service=$!
for ((tries = 0; tries < 100; ++tries)); do
  if in_prefix "$PREFIX" 'C:\Korvel\korvelctl.exe' ping </dev/null; then break; fi
  sleep 0.2
done
in_prefix "$PREFIX" 'C:\Korvel\KorvelService.exe' --ping </dev/null
in_prefix "$PREFIX" 'C:\Korvel\korvelctl.exe' stop </dev/null
wait "$service"

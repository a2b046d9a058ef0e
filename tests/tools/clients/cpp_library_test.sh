#!/bin/bash
# Installs the client library of the release build, builds its example in a folder outside the tree against it, and runs the
# example against korvelmock under Wine.
source "$(dirname "${BASH_SOURCE[0]}")/../../../scripts/lib/common.sh"
source "$KORVEL_ROOT/scripts/lib/wine.sh"

PREFIX=$KORVEL_WINE/client_library
FOLDER=$(mktemp -d)
clean_up() {
  end_prefix "$PREFIX"
  rm -rf "$FOLDER" "$PREFIX"
}
trap clean_up EXIT

cmake --install "$KORVEL_BUILD/release" --component client_library --prefix "$FOLDER/installed" >/dev/null
mkdir "$FOLDER/example"
cp "$KORVEL_ROOT"/clients/cpp/example/* "$FOLDER/example/"
cmake -S "$FOLDER/example" -B "$FOLDER/build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_TOOLCHAIN_FILE="$KORVEL_ROOT/cmake/mingw-w64.cmake" \
  -DKorvelClient_DIR="$FOLDER/installed/lib/cmake/KorvelClient" -DCMAKE_CXX_FLAGS="-Wall -Wextra -Werror" >/dev/null
cmake --build "$FOLDER/build"
if grep -rlF "$KORVEL_ROOT" "$FOLDER/installed"; then die "the installed files name this tree"; fi

# Each header that is installed compiles with those that are installed.
(cd "$FOLDER/installed/include/korvel" && find . -name '*.h' -printf '#include "%P"\n') |
  x86_64-w64-mingw32-g++-posix -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I "$FOLDER/installed/include/korvel" -x c++ -

copy_prefix "$PREFIX"
mkdir "$PREFIX/drive_c/client"
cp "$FOLDER/build/scan_and_quarantine.exe" "$KORVEL_BUILD/release/bin/korvelmock.exe" "$PREFIX/drive_c/client/"
in_prefix "$PREFIX" 'C:\client\korvelmock.exe' --scene found --pipe KorvelLibraryTest </dev/null >"$FOLDER/mock.log" 2>&1 &
for ((tries = 0; tries < 300; ++tries)); do
  if grep -q 'is open' "$FOLDER/mock.log"; then break; fi
  sleep 0.1
done

status=0
in_prefix "$PREFIX" 'C:\client\scan_and_quarantine.exe' 'C:\Samples' '\\.\pipe\KorvelLibraryTest' </dev/null \
  >"$FOLDER/example.log" 2>&1 || status=$?
cat "$FOLDER/example.log"
((status == 1)) || die "the example ended with $status instead of 1"
for line in 'the scan is completed' 'stored: C:\Samples\Загрузки\счёт №7.pdf.exe (Двойное расширение)' '3 files are in the quarantine'; do
  grep -qF "$line" "$FOLDER/example.log" || die "the example did not say: $line"
done

# shellcheck shell=bash
# Runs one Windows test program in a Wine prefix of its own, with the servers or the clock that it needs. Needs
# common.sh, wine.sh and PROGRAM_LIMIT_SECONDS.

TEST_PREFIXES=$KORVEL_WINE/tests

# The surroundings: FUNCTION PREFIX PROGRAM OPTION...

alone() { in_prefix_for "$PROGRAM_LIMIT_SECONDS" "$1" "C:\\tests\\$(basename "$2")" "${@:3}"; }

# With the web servers that downloads are tested against.
with_web_servers() {
  WINEPREFIX=$1 timeout --foreground -k 10 "$PROGRAM_LIMIT_SECONDS" "${FIXED_ADDRESSES[@]}" \
    "$KORVEL_ROOT/tests/net/run_net_tests.sh" "$2" "${@:3}"
}

# With an update server that the tests publish to.
with_update_server() (
  enter_prefix "$1" || exit
  exec timeout --foreground -k 10 "$PROGRAM_LIMIT_SECONDS" python3 "$KORVEL_ROOT/tests/e2e/update_operator.py" \
    "${FIXED_ADDRESSES[@]}" wine "C:\\tests\\$(basename "$2")" "${@:3}" 7>&-
)

# With the time of day shifted by the seconds in the file C:\korvel-clock, and local time far from UTC.
with_own_clock() (
  export TZ=Asia/Tokyo LD_PRELOAD=/usr/lib/x86_64-linux-gnu/faketime/libfaketime.so.1
  export FAKETIME_DONT_FAKE_MONOTONIC=1 FAKETIME_CACHE_DURATION=1 FAKETIME_TIMESTAMP_FILE=$1/drive_c/korvel-clock
  echo +0 >"$FAKETIME_TIMESTAMP_FILE"
  alone "$@"
)
CLOCK_TESTS='Schedule.*' # only these run with that clock, and only with it

# On a Russian Windows: its texts are in Russian, and its code page is 1251.
on_russian_windows() (
  export LOCPATH=$KORVEL_BUILD/locale
  mkdir -p "$LOCPATH"
  localedef --inputfile ru_RU --charmap UTF-8 "$LOCPATH/ru_RU.UTF-8" || exit
  { export LC_ALL=ru_RU.UTF-8; } 2>/dev/null # this shell need not know the locale
  alone "$@"
)
RUSSIAN_TESTS='RussianWindows.*' # likewise
# Those of korvelctl take as long as all others together, mostly waiting: two jobs beside the others.
CLIENT_TESTS=Connection.*:Control*:Examples.*:EventTexts.*:Help.*:JsonMatrix.*:ScanCommand.*:SettingsCommand.*:StoredFiles.*
CLIENT_TESTS+=:ThreatsCommand.*
WATCH_TESTS=WatchCommand.*:ControlDoctor.*:Help.* # those of them that take longest
UPDATE_TESTS='Update.*' # those of the service that wait longest
LONG_TESTS='Long*.*' # only scripts/evidence has the time for these

# make_test_prefix PREFIX PROGRAM [PRESET]: a prefix with the program in it, and the product of PRESET installed.
make_test_prefix() {
  local drive=$1/drive_c program=$2
  copy_prefix "$1"
  touch "$drive/korvel-test-machine" # nothing in this prefix is of value
  # An empty removable drive, and the first that a full scan walks.
  mkdir "$1/removable"
  ln -s ../removable "$1/dosdevices/a:"
  printf '\n[Software\\\\Wine\\\\Drives]\n"a:"="floppy"\n' >>"$1/system.reg"
  mkdir "$drive/tests" "$drive/bin"
  cp "$program" "$drive/tests/"
  # Programs and libraries that a test finds beside itself.
  find "$(dirname "$program")" -maxdepth 1 \( -name '*.dll' -o -name '*.exe' ! -name '*_tests.exe' \) \
    -exec cp -t "$drive/tests" {} +
  # Where it is built: a single test program needs no such service.
  cp "$(dirname "$program")/../bin/korvelmock.exe" "$drive/tests/" 2>/dev/null || true
  # The seed signatures lie where the build has them: ..\bin\data from a test program.
  cp -r "$(dirname "$program")/../bin/data" "$drive/bin/"
  if (($# > 2)); then install_product "$1" "$3"; fi
}

# windows_test JSON PROGRAM [PRESET]: the name of JSON decides which of the functions above runs the program.
windows_test() {
  local surroundings=alone tests=-$CLOCK_TESTS:$RUSSIAN_TESTS:$LONG_TESTS
  case $(basename "$1" .json) in
    e2e.clock) surroundings=with_own_clock tests=$CLOCK_TESTS ;;
    e2e.russian) surroundings=on_russian_windows tests=$RUSSIAN_TESTS ;;
    e2e.client) surroundings=with_update_server tests=$CLIENT_TESTS-$WATCH_TESTS ;;
    e2e.watch) surroundings=with_update_server tests=$WATCH_TESTS ;;
    e2e.update*) surroundings=with_update_server tests=$UPDATE_TESTS ;;
    e2e.*) surroundings=with_update_server tests+=:$CLIENT_TESTS:$WATCH_TESTS:$UPDATE_TESTS ;;
    windows.net_tests | windows.hosts_tests) surroundings=with_web_servers ;;
  esac
  run_windows_test "$surroundings" "$tests" "$@"
}

# run_windows_test SURROUNDINGS TESTS JSON PROGRAM [PRESET]: in a prefix of its own, named like JSON. The functions
# prepare_prefix PREFIX and leave_prefix PREFIX, if there are any, run before the program and before the removal.
run_windows_test() {
  local surroundings=$1 tests=$2 json=$3 program=$4 status
  local prefix
  prefix=$TEST_PREFIXES/$(basename "$json" .json)
  make_test_prefix "$prefix" "${@:4}"
  if declare -F prepare_prefix >/dev/null; then prepare_prefix "$prefix"; fi
  # GoogleTest makes the file "begun" before the first case and removes it after the last.
  local result=$prefix/drive_c/tests/result.json begun=$prefix/drive_c/tests/begun attempt
  for attempt in 1 2; do
    status=0
    TEST_PREMATURE_EXIT_FILE='C:\tests\begun' "$surroundings" "$prefix" "$program" --gtest_color=no \
      '--gtest_output=json:C:\tests\result.json' "--gtest_filter=$tests" </dev/null || status=$?
    if ((status != 1)) || [[ -f $result || -f $begun ]]; then break; fi
    echo "attempt $attempt: Wine ended before the program began" # see FIXED_ADDRESSES
  done
  cp "$result" "$json" || true
  end_prefix "$prefix"
  if declare -F leave_prefix >/dev/null; then leave_prefix "$prefix"; fi
  rm -rf "$prefix"
  return "$status"
}

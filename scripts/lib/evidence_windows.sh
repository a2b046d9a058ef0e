# shellcheck shell=bash
# What the areas share that run the real service under Wine: the builds, a run of chosen tests, the figures. Source it
# after common.sh.
source "$KORVEL_ROOT/scripts/lib/packages.sh"
source "$KORVEL_ROOT/scripts/lib/wine.sh"
source "$KORVEL_ROOT/scripts/lib/windows_test.sh"

# Beside those of scripts/test, which may run at the same time.
TEST_PREFIXES=$KORVEL_EVIDENCE/prefixes
FAILED=0

end_evidence() {
  local status=$? prefix
  trap '' INT TERM
  end_build
  for prefix in "$TEST_PREFIXES"/*/; do
    if [[ -d $prefix ]]; then end_prefix "${prefix%/}"; fi
  done
  rm -rf "$TEST_PREFIXES"
  exit "$status"
}
trap end_evidence EXIT

# build_for_evidence: the product that ships, and the test programs with the product that traps undefined behaviour.
build_for_evidence() {
  ensure_packages
  ensure_template
  stage "building the product"
  build release "${KORVEL_PRODUCT[@]}"
  stage "building the product with trapping UBSan, and its tests"
  build debug "${KORVEL_PRODUCT[@]}" "$@"
}

# seconds_left: how much of its time the area still has.
seconds_left() { echo $((${KORVEL_EVIDENCE_SECONDS:-10800} - SECONDS)); }

# piece AREA NAME PRESET TESTS [PROGRAM]: runs tests of a Windows program in a prefix of its own, against the product of
# PRESET, and records what they show under AREA; returns whether all passed. The output is in NAME.log.
piece() {
  local area=$1 name=$2 preset=$3 tests=$4 program=${5:-e2e_tests} status=0 began=$SECONDS findings
  local json=$KORVEL_EVIDENCE/$name.json log=$KORVEL_EVIDENCE/$name.log surroundings=with_update_server
  case $program in
    net_tests | hosts_tests) surroundings=with_web_servers ;;
  esac
  PROGRAM_LIMIT_SECONDS=$(seconds_left)
  if ((PROGRAM_LIMIT_SECONDS < 30)); then return 124; fi
  stage "$name"
  rm -f "$json"
  (set +e; KORVEL_TEST_LIMIT_SECONDS=$PROGRAM_LIMIT_SECONDS run_windows_test "$surroundings" "$tests" "$json" \
    "$KORVEL_BUILD/debug/tests/$program.exe" "$preset") >"$log" 2>&1 || status=$?
  findings=$(grep -ac '^\[  FAILED  \] [A-Za-z0-9_/]*\.[A-Za-z0-9_/]* (' "$log" || true)
  if ((status == 124)); then
    say "the time was up after $((SECONDS - began)) s"
  elif ((status != 0)); then
    FAILED=$((FAILED + 1))
    say "NOT GOOD: status $status, $findings failed; the output is in $log"
  else
    say "good, after $((SECONDS - began)) s"
  fi
  record_figures "$area" "$log" "$findings"
  return "$status"
}

# The end of the name of each part of what piece() records: what it ran against.
PART_SUFFIX=

# rows LOG: what stands behind "row: " in it, fields separated by tabs.
rows() { tr -d '\r' <"$1" | sed -n 's/^row: //p'; }

# record_figures AREA LOG FINDINGS: every line "evidence: AMOUNT UNIT, PART" goes into the ledger.
record_figures() {
  local amount unit part findings=$3
  while IFS=$'\t' read -r amount unit part; do
    "$KORVEL_ROOT/scripts/lib/ledger.py" record "$1" --amount "$amount" --unit "$unit" --part "$part$PART_SUFFIX" \
      --findings "$findings"
    findings=0
  done < <(tr -d '\r' <"$2" | sed -n 's/^evidence: \([0-9.]*\) \([^,]*\), \(.*\)$/\1\t\2\t\3/p')
  # What fails at once shows no figure.
  if ((findings > 0)); then
    "$KORVEL_ROOT/scripts/lib/ledger.py" record "$1" --amount 1 --unit "failed runs" \
      --part "$(basename "$2" .log)$PART_SUFFIX" --findings "$findings"
  fi
}

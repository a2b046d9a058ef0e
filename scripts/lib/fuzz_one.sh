#!/bin/bash
# fuzz_one.sh NAME SECONDS: one target of the area fuzz. First without sanitizers, which is several times as fast, then
# with them over what that found. Adds to the ledger what was executed; the status is 1 after a finding.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/fuzz_target.sh"

name=$1 seconds=$2 found=0
corpus=$KORVEL_EVIDENCE/corpus/$name findings=$KORVEL_EVIDENCE/findings/$name log=$KORVEL_EVIDENCE/$name.log
mkdir -p "$corpus" "$findings"
: >"$log"
for preset in fuzz_fast fuzz; do
  limit=$((seconds / 3 + 1))
  if [[ $preset == fuzz_fast ]]; then limit=$((seconds - limit)); fi
  fuzz_target "$KORVEL_BUILD/$preset/fuzz/${name}_fuzz" "$name" "$corpus" "$findings" -max_total_time="$limit" \
    >>"$log" 2>&1 || found=1
  if ((found == 1)); then break; fi
done

executed=$(awk '/^stat::number_of_executed_units:/ { sum += $2 } END { print sum + 0 }' "$log")
rates=$(awk '/^stat::average_exec_per_sec:/ { printf "%s%s", between, $2; between = " and " }' "$log")
say "$name: $executed executions, $rates a second"
"$KORVEL_ROOT/scripts/lib/ledger.py" record fuzz --part "$name" --unit executions --amount "$executed" \
  --findings "$found"
if ((found == 1)); then die "found in $name: the inputs are in $findings, the report in $log"; fi

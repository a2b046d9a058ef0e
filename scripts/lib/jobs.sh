# shellcheck shell=bash
# Runs commands side by side, one per core. For each NAME it leaves the output (NAME.log) and the exit status
# (NAME.status) in $RESULTS. Failures are printed at once. Needs common.sh.

KORVEL_JOBS=${KORVEL_JOBS:-$(nproc)}

# job NAME COMMAND...: waits for a free core, then starts the command.
job() {
  local name=$1
  shift
  while (($(jobs -rp | wc -l) >= KORVEL_JOBS)); do wait -n || true; done
  set -m # a process group of its own, so that end_jobs reaches all of it
  run_job "$name" "$@" &
  set +m
}

run_job() {
  local name=$1 status=0 began=$SECONDS
  shift
  "$@" >"$RESULTS/$name.log" 2>&1 </dev/null || status=$?
  echo "$status" >"$RESULTS/$name.status"
  if ((status == 0)); then
    say "$(printf 'ok      %-36s %4d s' "$name" $((SECONDS - began)))"
  else
    say "$(printf 'FAILED  %-36s %4d s  (status %d, build/test-results/%s.log)' "$name" $((SECONDS - began)) \
      "$status" "$name")"
    python3 "$KORVEL_ROOT/scripts/lib/tally.py" "$RESULTS" "$name" >&2
  fi
}

wait_for_jobs() {
  while [[ -n $(jobs -rp) ]]; do wait -n || true; done
}

# Ends the jobs that still run, each with its children, and nothing else.
end_jobs() {
  local group
  for group in $(jobs -rp); do kill -TERM -- "-$group" 2>/dev/null || true; done
}

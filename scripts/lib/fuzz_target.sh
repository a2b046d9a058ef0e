# shellcheck shell=bash
# How a fuzz target is run. Needs common.sh.

# fuzz_target_names FOLDER: the targets of a build, one a line.
fuzz_target_names() {
  local program
  for program in "$1"/fuzz/*_fuzz; do basename "$program" _fuzz; done
}

# fuzz_dictionary NAME: the words of every dictionary that names the target.
fuzz_dictionary() {
  local dictionary
  for dictionary in "$KORVEL_ROOT"/tests/fuzz/dictionaries/*.dict; do
    if grep -qE "^# targets:.* $1( |$)" "$dictionary"; then grep '^"' "$dictionary"; fi
  done
  return 0
}

# fuzz_max_length NAME: longer inputs only cost time.
fuzz_max_length() {
  case $1 in
    pe_buffer) echo 4096 ;;
    frame_header | quarantine_id) echo 64 ;;
    *) echo 1024 ;;
  esac
}

# fuzz_target PROGRAM NAME CORPUS FINDINGS [OPTION...]: new inputs go to CORPUS, findings to FINDINGS; the committed inputs
# are only read.
fuzz_target() {
  local program=$1 name=$2 corpus=$3 findings=$4
  shift 4
  local dictionary=() words=$corpus.dict
  fuzz_dictionary "$name" >"$words"
  if [[ -s $words ]]; then dictionary=(-dict="$words"); fi
  "$program" -timeout=25 -rss_limit_mb=4096 -print_final_stats=1 -verbosity=0 -artifact_prefix="$findings/" \
    -max_len="$(fuzz_max_length "$name")" "${dictionary[@]}" "$@" "$corpus" "$KORVEL_ROOT/tests/fuzz/corpus/$name"
}

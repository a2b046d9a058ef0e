#!/bin/bash
# fuzz_corpus.sh [TARGET...]: takes into the tree what the area fuzz has found, at most 2 MB of it: puts the smallest
# inputs of the working corpora that reach everything those reach, less what the inputs written by hand reach, in place
# of tests/fuzz/corpus/*/found. Run it after scripts/evidence fuzz.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
source "$KORVEL_ROOT/scripts/lib/fuzz_target.sh"

CORPUS=$KORVEL_ROOT/tests/fuzz/corpus
WORKING=$KORVEL_BUILD/evidence/fuzz/corpus
MOST_BYTES=50000 # of one target: all of them stay below 2 MB
MOST_INPUTS=80   # of one target: the replay stays short

# minimise NAME: without sanitizers, which reach nothing else and take longer; scripts/test replays with them.
minimise() {
  local name=$1 fresh=$KORVEL_BUILD/evidence/fuzz/minimised/$1 program=$KORVEL_BUILD/fuzz_fast/fuzz/$1_fuzz
  rm -rf "$fresh"
  mkdir -p "$fresh"
  # The merge keeps what is in the first folder.
  find "$CORPUS/$name" -maxdepth 1 -type f -exec cp -t "$fresh" {} +
  quietly "$KORVEL_LOGS/minimise-$name.log" "$program" -merge=1 -max_len="$(fuzz_max_length "$name")" \
    -timeout=25 -rss_limit_mb=4096 "$fresh" "$WORKING/$name"
}

# keep NAME: of the new inputs, smallest first, what the limits allow.
keep() {
  local name=$1 fresh=$KORVEL_BUILD/evidence/fuzz/minimised/$1 bytes=0 inputs=0 size path
  rm -rf "$CORPUS/$name/found"
  while read -r size path; do
    if [[ -e $CORPUS/$name/$(basename "$path") ]]; then continue; fi
    bytes=$((bytes + size)) inputs=$((inputs + 1))
    if ((bytes > MOST_BYTES || inputs > MOST_INPUTS)); then break; fi
    mkdir -p "$CORPUS/$name/found"
    cp "$path" "$CORPUS/$name/found/"
  done < <(find "$fresh" -type f -printf '%s %p\n' | sort -n)
  say "$name: $(find "$CORPUS/$name" -type f | wc -l) inputs"
}

stage "minimising the working corpora"
if (($# == 0)); then mapfile -t names < <(fuzz_target_names "$KORVEL_BUILD/fuzz_fast"); else names=("$@"); fi
for name in "${names[@]}"; do
  if [[ ! -d $WORKING/$name ]]; then continue; fi
  minimise "$name"
  keep "$name"
done
stage "$(du -sb --apparent-size "$CORPUS" | cut -f1) bytes in tests/fuzz/corpus"

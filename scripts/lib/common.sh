# shellcheck shell=bash
# What every script shares: where the tree is, how a stage is announced, how a build is run. Source it first.
set -euo pipefail

KORVEL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
KORVEL_BUILD=$KORVEL_ROOT/build
KORVEL_LOGS=$KORVEL_BUILD/logs
mkdir -p "$KORVEL_LOGS"
export PYTHONDONTWRITEBYTECODE=1
# The targets of a build that scripts/run needs.
# shellcheck disable=SC2034
KORVEL_PRODUCT=(KorvelService korvelctl seed_signatures make_samples)
# The compiler cache stays inside the checkout too, unless the user has one of their own.
export CCACHE_DIR=${CCACHE_DIR:-$KORVEL_BUILD/ccache}
# Every compiler run lists the headers that it has read, so the cache need not read them a second time.
export CCACHE_DEPEND=1

# korvel_version: the version that src/base/version.h states.
korvel_version() { sed -n 's/.*kServiceVersion\[\] = "\([0-9.]*\)".*/\1/p' "$KORVEL_ROOT/src/base/version.h"; }

# stage TEXT: says what happens next, with the seconds since the script began.
stage() { printf '[%3d s] %s\n' "$SECONDS" "$*" >&2; }
say() { printf '        %s\n' "$*" >&2; }
die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# quietly LOG COMMAND...: keeps the output in LOG and shows its end only when the command fails.
quietly() {
  local log=$1
  shift
  local status=0
  "$@" >"$log" 2>&1 || status=$?
  if ((status == 0)); then return 0; fi
  tail -n 60 "$log" >&2
  printf 'error: this failed: %s\n       the whole output is in %s\n' "$*" "$log" >&2
  return "$status"
}

# build PRESET [TARGET...]: configures build/PRESET when needed and builds the targets (all when none is given).
# Two scripts never build the same folder at once.
build() {
  set -m # a process group of its own, so that end_build reaches the compilers too
  build_locked "$@" &
  KORVEL_BUILDING=$!
  set +m
  local status=0
  wait "$KORVEL_BUILDING" || status=$?
  KORVEL_BUILDING=
  ((status == 0)) || die "the $1 build failed"
}

# drop_stale_build DIR: removes a build folder that was configured in another place, as in a checkout that was copied or
# moved: CMake would refuse it.
drop_stale_build() {
  local cache=$1/CMakeCache.txt place
  [[ -f $cache ]] || return 0
  place=$(sed -n 's/^CMAKE_CACHEFILE_DIR:INTERNAL=//p' "$cache")
  if [[ $place -ef $1 ]]; then return 0; fi
  say "$1 was configured as $place: building it anew"
  rm -rf "$1"
}

build_locked() {
  local preset=$1
  shift
  local targets=()
  if (($# > 0)); then targets=(--target "$@"); fi
  cd "$KORVEL_ROOT" &&
    exec 8>"$KORVEL_BUILD/$preset.lock" &&
    flock 8 &&
    drop_stale_build "$KORVEL_BUILD/$preset" &&
    quietly "$KORVEL_LOGS/configure-$preset.log" cmake --preset "$preset" 8>&- &&
    quietly "$KORVEL_LOGS/build-$preset.log" cmake --build "build/$preset" "${targets[@]}" 8>&-
}

# Ends the running build, if any. Scripts with a clean-up of their own call it from there.
end_build() {
  if [[ -n $KORVEL_BUILDING ]]; then kill -TERM -- "-$KORVEL_BUILDING" 2>/dev/null || true; fi
}
KORVEL_BUILDING=
trap end_build EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# shellcheck shell=bash
# The prefix in which scripts/run has its service, and korvelctl in it. Needs common.sh and wine.sh.

PREFIX=$KORVEL_WINE/run
# Held by the scripts/run that uses the prefix.
# shellcheck disable=SC2034
RUN_LOCK=$KORVEL_WINE/run.lock

# in_run ARGUMENT...: korvelctl in the prefix. It never gets the terminal itself: Wine would draw on it as if it were a
# Windows console and take Ctrl+C away from the script.
in_run() { in_prefix "$PREFIX" "$KORVEL_PRODUCT_FOLDER\\korvelctl.exe" "$@" </dev/null; }

# shellcheck shell=bash
# What the setup program installs. Needs common.sh.

# gather_setup_files BIN DIR: the files of the build in BIN, as they lie in the program folder.
gather_setup_files() {
  local bin=$1 files=$2
  mkdir -p "$files/data" "$files/docs"
  cp "$bin/KorvelService.exe" "$bin/korvelctl.exe" "$bin/korvelsig.exe" "$files/"
  cp "$bin/data/signatures.seed.txt" "$files/data/"
  cp "$KORVEL_ROOT"/docs/{operation,trust}.md "$KORVEL_ROOT/CHANGELOG.md" "$files/docs/"
}

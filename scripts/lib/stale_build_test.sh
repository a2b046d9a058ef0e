#!/bin/bash
# Shows that a build folder of a copied or moved checkout is removed, and one that is in its place is kept.
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
make_build() {
  mkdir -p "$folder/$1"
  echo "CMAKE_CACHEFILE_DIR:INTERNAL=$2" >"$folder/$1/CMakeCache.txt"
}
make_build copied /elsewhere/build/copied
make_build own "$folder/own"
mkdir "$folder/fresh"
ln -s own "$folder/linked"
for name in copied own fresh linked missing; do drop_stale_build "$folder/$name"; done

[[ ! -e $folder/copied ]] || die "a copied build folder is kept"
[[ -f $folder/own/CMakeCache.txt ]] || die "a build folder in its place is removed"
[[ -d $folder/fresh ]] || die "a folder without a cache is removed"
[[ -f $folder/linked/CMakeCache.txt ]] || die "a build folder that is reached through a link is removed"
say "5 build folders looked at"

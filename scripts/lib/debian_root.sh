# shellcheck shell=bash
# A Debian system of another release in a folder, and commands that run in it. Needs common.sh and packages.sh.

TREE_IN_ROOT=/korvel # where the source tree is in such a system

# The mirror that this machine installs its own packages from.
debian_mirror() {
  # shellcheck disable=SC2016
  apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' | head -n 1
}

# make_debian_root RELEASE DIR: makes the system unless it is there. One that was left half made is made again.
make_debian_root() {
  local release=$1 root=$2 mirror
  find_root || die "making a Debian system needs root or a usable sudo"
  if [[ -f $root/.whole ]]; then return; fi
  PATH=$PATH:/usr/sbin
  ensure_command debootstrap debootstrap
  mirror=$(debian_mirror)
  [[ -n $mirror ]] || die "apt knows no Debian mirror here"
  stage "making a system of Debian's release $release"
  "${AS_ROOT[@]}" rm -rf "$root"
  quietly "$KORVEL_LOGS/debootstrap-$release.log" "${AS_ROOT[@]}" debootstrap --variant=minbase \
    "$release" "$root" "$mirror" || die "the system could not be made"
  "${AS_ROOT[@]}" touch "$root/.whole"
}

# put_tree DIR: makes the source tree of that system the same as this one, as git sees it. Its build folder stays. Files
# that did not change keep the time that they have there, and all others are new, so that a build goes on rightly.
put_tree() {
  local tree=$1$TREE_IN_ROOT new=$1$TREE_IN_ROOT.new
  stage "copying the source tree"
  "${AS_ROOT[@]}" rm -rf "$new"
  "${AS_ROOT[@]}" mkdir -p "$new" "$tree/build"
  (cd "$KORVEL_ROOT" && git ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' file; do if [[ -e $file ]]; then printf '%s\0' "$file"; fi; done |
    tar --create --null --files-from=- --file=-) |
    "${AS_ROOT[@]}" tar --extract --touch --no-same-owner --directory="$new" --file=-
  # shellcheck disable=SC2016
  "${AS_ROOT[@]}" find "$new" -type f -exec bash -c 'tree=$1 new=$2
    for file in "${@:3}"; do
      old=$tree${file#"$new"}
      if cmp -s "$old" "$file"; then touch --reference="$old" "$file"; fi
    done' bash "$tree" "$new" {} +
  "${AS_ROOT[@]}" mv "$tree/build" "$new/build"
  "${AS_ROOT[@]}" rm -rf "$tree"
  "${AS_ROOT[@]}" mv "$new" "$tree"
}

# in_debian_root DIR COMMAND...: runs it in the source tree of that system, without this shell's variables and with
# process numbers of its own. Whatever the command leaves running ends with it, and when this shell ends.
in_debian_root() {
  local root=$1 child status=0
  shift
  "${AS_ROOT[@]}" cp /etc/resolv.conf "$root/etc/resolv.conf"
  set -m # else the command would begin with Ctrl+C ignored, and so would all that it starts
  "${AS_ROOT[@]}" unshare --mount --pid --fork --kill-child "$KORVEL_ROOT/scripts/lib/enter_root.sh" "$root" \
    "$TREE_IN_ROOT" "$@" </dev/null &
  child=$!
  set +m
  # By force and the whole group: unshare itself heeds no milder signal, and sudo may stand in front of it.
  # shellcheck disable=SC2064
  trap "${AS_ROOT[*]} kill -KILL -- -$child 2>/dev/null || true" EXIT
  wait "$child" || status=$?
  trap - EXIT
  return "$status"
}

# shellcheck shell=bash
# Wine prefixes: one template, made once, and copies of it. Needs common.sh.
#
# A fresh prefix reaches into the machine in two ways, and the template has neither: the user folders of a fresh
# one are links into the real home folder, and its drive Z: is the root of this machine.

KORVEL_WINE=$KORVEL_BUILD/wine
KORVEL_TEMPLATE=$KORVEL_WINE/template
# The product's folder on drive C:, where install_product puts it.
# shellcheck disable=SC2034
KORVEL_PRODUCT_FOLDER='C:\Program Files\Korvel'

# No display, no debug output, UTF-8 file names; the caches and settings of Wine's libraries stay beside the prefixes.
export DISPLAY='' WINEDEBUG=-all LC_ALL=C.UTF-8
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
export XDG_CACHE_HOME=$KORVEL_WINE/xdg/cache XDG_CONFIG_HOME=$KORVEL_WINE/xdg/config XDG_DATA_HOME=$KORVEL_WINE/xdg/data
unset http_proxy https_proxy HTTP_PROXY HTTPS_PROXY

# The prefix of every Wine command: it switches address randomisation off. Every Windows process needs the page at
# 0x7ffe0000. With randomisation the heap of Wine's own program lies there in about one of 4,000 starts, and then the
# process ends before its program begins. Where randomisation cannot be switched off, as in some containers, this
# still happens.
FIXED_ADDRESSES=()
if setarch -R true 2>/dev/null; then FIXED_ADDRESSES=(setarch -R); fi

# make_prefix DIR: a new prefix from nothing.
make_prefix() {
  export WINEPREFIX=$1
  local run=("${FIXED_ADDRESSES[@]}")
  "${run[@]}" wineboot --init &&
    "${run[@]}" wine reg add 'HKCU\Software\Wine' /v Version /d win10 /f &&
    "${run[@]}" wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger /d false /f || return
  wineserver -k || true
  wineserver -w || true
}

# detach_prefix DIR: removes the links of a new prefix into the machine, and the debug information, which would only
# make a scan of system32 slower.
detach_prefix() {
  local prefix=$1 link
  while IFS= read -r -d '' link; do
    rm "$link" && mkdir "$link"
  done < <(find "$prefix/drive_c/users" -type l -print0)
  rm -f "$prefix/dosdevices/z:"
  find "$prefix/drive_c" -type f -size +8k \( -iname '*.dll' -o -iname '*.exe' -o -iname '*.drv' -o -iname '*.sys' \
    -o -iname '*.ocx' -o -iname '*.cpl' \) -print0 |
    xargs -0 -r -n 32 -P "$(nproc)" bash -c 'for file; do
      if x86_64-w64-mingw32-strip -o "$file.stripped" "$file" 2>/dev/null; then
        chmod --reference="$file" "$file.stripped" && mv "$file.stripped" "$file"
      else
        rm -f "$file.stripped"
      fi
    done' bash
  echo disable >"$prefix/.update-timestamp" # a later start must not update it and bring the links back
}

# ensure_template: makes the template unless it is there.
ensure_template() {
  mkdir -p "$KORVEL_WINE"
  (
    exec 8>"$KORVEL_WINE/template.lock"
    flock 8
    if [[ -f $KORVEL_TEMPLATE/.update-timestamp ]]; then exit 0; fi
    stage "making the Wine prefix that every run starts from (half a minute, once)"
    local_new=$KORVEL_TEMPLATE.new
    rm -rf "$local_new" "$KORVEL_TEMPLATE"
    quietly "$KORVEL_LOGS/wine-template.log" make_prefix "$local_new" 8>&- || exit 1
    quietly "$KORVEL_LOGS/wine-template-detach.log" detach_prefix "$local_new" 8>&- || exit 1
    mv "$local_new" "$KORVEL_TEMPLATE"
  ) || die "the Wine prefix could not be made"
}

# copy_prefix DIR: a fresh copy of the template, in place of what was there.
copy_prefix() {
  rm -rf "$1"
  mkdir -p "$(dirname "$1")"
  cp -a "$KORVEL_TEMPLATE" "$1"
}

# enter_prefix DIR: makes it the prefix and C:\ the current folder of this (sub)shell. Fails for anything but a copy of
# the template: Wine would make a new prefix there, with links into the real home folder.
enter_prefix() {
  [[ -f $1/.update-timestamp ]] && cd "$1/drive_c" && export WINEPREFIX=$1
}

# in_prefix DIR COMMAND...: runs a Windows command in the prefix. Descriptor 7 is a lock of the caller.
in_prefix() (
  enter_prefix "$1" || exit
  exec "${FIXED_ADDRESSES[@]}" wine "${@:2}" 7>&-
)

# in_prefix_for SECONDS DIR COMMAND...: the same, ended by force when it takes longer.
in_prefix_for() (
  enter_prefix "$2" || exit
  exec timeout --foreground -k 10 "$1" "${FIXED_ADDRESSES[@]}" wine "${@:3}" 7>&-
)

# end_prefix DIR: ends every process of this prefix, and of no other.
end_prefix() {
  WINEPREFIX=$1 wineserver -k 2>/dev/null || true
  WINEPREFIX=$1 timeout 10 wineserver -w 2>/dev/null || true
}

# install_product PREFIX PRESET: the service and its data of a build, and the client that ships, as an installer would
# lay them out.
install_product() {
  local folder="$1/drive_c/Program Files/Korvel" bin=$KORVEL_BUILD/$2/bin
  mkdir -p "$folder"
  cp "$bin/KorvelService.exe" "$KORVEL_BUILD/release/bin/korvelctl.exe" "$folder/"
  rm -rf "$folder/data"
  cp -r "$bin/data" "$folder/data"
}

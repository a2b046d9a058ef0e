# shellcheck shell=bash
# What the setup program installs, and what the client kit holds. Needs common.sh.

# gather_setup_files BIN DIR: the files of the build in BIN, as they lie in the program folder.
gather_setup_files() {
  local bin=$1 files=$2
  mkdir -p "$files/data" "$files/docs"
  cp "$bin/KorvelService.exe" "$bin/korvelctl.exe" "$bin/korvelsig.exe" "$files/"
  cp "$bin/data/signatures.seed.txt" "$files/data/"
  cp "$KORVEL_ROOT"/docs/{operation,trust}.md "$KORVEL_ROOT/CHANGELOG.md" "$files/docs/"
}

# gather_client_kit BUILD DIR: what writing a client needs, out of the release build in BUILD. Links between the documents
# hold there.
gather_client_kit() {
  local build=$1 kit=$2
  mkdir -p "$kit/docs" "$kit/clients/cpp"
  cp "$build/bin/korvelmock.exe" "$kit/"
  cp "$KORVEL_ROOT"/docs/{protocol,trust}.md "$KORVEL_ROOT/docs/korvelmock.schema.json" "$kit/docs/"
  cp -r "$KORVEL_ROOT/docs/vectors" "$kit/docs/"
  cp -r "$KORVEL_ROOT"/clients/{README.md,python,csharp,powershell} "$kit/clients/"
  cp -r "$KORVEL_ROOT/clients/cpp/example" "$kit/clients/cpp/"
  cmake --install "$build" --component client_library --prefix "$kit/clients/cpp" >/dev/null
  find "$kit" -name __pycache__ -prune -exec rm -r {} +
}

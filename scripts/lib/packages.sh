# shellcheck shell=bash
# The Debian packages that building, running and testing need, and how missing ones get installed.

KORVEL_PACKAGES=(
  g++-mingw-w64-x86-64-posix # the compiler of the product: GCC for 64-bit Windows with POSIX threads
  g++                        # the same GCC for this machine: the benchmarks of the pure half
  cmake                      # describes the builds
  ninja-build                # runs them
  ccache                     # makes repeated builds quick
  wine                       # runs the product on this machine: the commands
  wine64                     # ... and its 64-bit loader
  python3                    # checks of the tree, the tally of the tests
  googletest                 # the sources that the test programs are built with
  clang                      # the native build, and a second compiler for the product's sources
  clang-format               # keeps the sources in one layout
  clang-tidy                 # lint
  libcli11-dev               # korvelctl, korvelsig, korvelmock: command line
  nlohmann-json3-dev         # korvelctl, korvelsig, korvelmock: JSON
  libssl-dev                 # the benchmarks: another implementation of the digests to compare with
  python3-pefile             # an independent PE reader, to compare the analysis with
  python3-jsonschema         # an independent reader of the schema of korvelmock's scripts
  mono-mcs                   # compiles the C# client for its tests
  mono-runtime               # ... and runs it
  faketime                   # tests that need another time of day
  locales                    # tests on a Russian Windows
  openssl                    # tests that need certificates
  nginx-light                # the server that download tests talk to
  lld                        # links the test programs, which takes GNU's linker too long
  nsis                       # makes the setup program
  osslsigncode               # signs it: the test of what docs/release.md describes
  chromium                   # looks at the pages that korvelctl writes
)

# What the preset "tools" needs of them: korvelsig and korvelmock for this machine.
# shellcheck disable=SC2034
KORVEL_TOOLS_PACKAGES=(g++ cmake ninja-build ccache libcli11-dev nlohmann-json3-dev)

# add_clang_runtime COMMAND...: adds the run-time of clang's sanitizers and of the fuzzer. The package carries clang's
# version in its name (14 in Debian 12, 19 in Debian 13), which COMMAND tells by what the package clang depends on.
add_clang_runtime() {
  local version
  version=$("$@" 2>/dev/null | sed -n 's/.*Depends: clang-\([0-9]\+\).*/\1/p' | head -n 1 || true)
  if [[ -n $version && ! " ${KORVEL_PACKAGES[*]} " =~ \ libclang-rt- ]]; then
    KORVEL_PACKAGES+=("libclang-rt-$version-dev")
  fi
}
if command -v dpkg-query >/dev/null; then
  add_clang_runtime dpkg-query --show --showformat='Depends: ${Depends}\n' clang
fi

# Prints the packages that are not installed, one per line. Only asks dpkg, and only once.
missing_packages() {
  if ! command -v dpkg-query >/dev/null; then
    printf '%s\n' "${KORVEL_PACKAGES[@]}"
    return
  fi
  local installed
  installed=$(dpkg-query --show --showformat='${db:Status-Status} ${Package}\n' "${KORVEL_PACKAGES[@]}" 2>/dev/null |
    sed -n 's/^installed //p' || true)
  local package
  for package in "${KORVEL_PACKAGES[@]}"; do
    if ! grep -qxF -e "$package" <<<"$installed"; then printf '%s\n' "$package"; fi
  done
}

# Sets AS_ROOT to the command prefix that makes a command run as root; false when there is no way.
find_root() {
  AS_ROOT=()
  if ((EUID == 0)); then return 0; fi
  command -v sudo >/dev/null || return 1
  AS_ROOT=(sudo)
  if sudo -n true 2>/dev/null; then return 0; fi
  [[ -t 0 ]] # sudo can ask for the password only at a terminal
}

# Installs the missing packages; returns quickly when none is missing.
ensure_packages() {
  local missing
  mapfile -t missing < <(missing_packages)
  if ((${#missing[@]} == 0)); then return 0; fi

  if ! command -v apt-get >/dev/null; then
    die "this is not a Debian system. Please provide what these packages of Debian 12 or 13 hold: ${missing[*]}"
  fi
  if ! find_root; then
    die "packages are missing, and there is neither root nor a usable sudo here. Please ask an administrator to run
       apt-get install --no-install-recommends ${missing[*]}"
  fi
  local log=$KORVEL_LOGS/packages.log
  quietly "$log" "${AS_ROOT[@]}" apt-get update || die "apt-get update failed"
  add_clang_runtime apt-cache depends clang
  mapfile -t missing < <(missing_packages)
  stage "installing ${#missing[@]} Debian packages: ${missing[*]}"
  quietly "$log" "${AS_ROOT[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
    "${missing[@]}" || die "apt-get install failed"
  mapfile -t missing < <(missing_packages)
  if ((${#missing[@]} > 0)); then die "still missing after the installation: ${missing[*]}"; fi
}

# ensure_command COMMAND PACKAGE: installs a package that only one script needs, unless its command is there.
ensure_command() {
  if command -v "$1" >/dev/null; then return 0; fi
  find_root || die "the package $2 is missing, and there is neither root nor a usable sudo here"
  stage "installing $2"
  quietly "$KORVEL_LOGS/packages.log" "${AS_ROOT[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "$2" || die "apt-get install failed"
}

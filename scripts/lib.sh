# What ./run, ./test and .ci/run share: the packages, the build, and how to end with one clear line.
# Sourced with the tree's root as the working directory.

say() { printf '%s\n' "$*" >&2; }
die() {
  say "${0##*/}: $*"
  exit 1
}

# packages SECTION...: the packages of these sections of debian-packages.txt, one a line.
packages() {
  awk -v wanted=" $* " '
    /^\[/ { section = substr($0, 2, length($0) - 2); next }
    /^#/ || NF == 0 { next }
    index(wanted, " " section " ") { print $1 }' debian-packages.txt
}

# install SECTION...: installs what is missing of these sections.
install() {
  command -v dpkg-query >/dev/null || die "this is not a Debian system; install by hand: $(packages "$@" | tr '\n' ' ')"
  local missing=() package
  for package in $(packages "$@"); do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local root=()
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || die "missing packages, and no right to install them: ${missing[*]}"
    root=(sudo)
  fi
  say "installing ${missing[*]}"
  local log
  log=$(mktemp)
  { "${root[@]}" apt-get -q update &&
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y --no-install-recommends install "${missing[@]}"; } \
    >"$log" 2>&1 || { tail -n 5 "$log" >&2; rm -f "$log"; die "could not install ${missing[*]}"; }
  rm -f "$log"
}

# build PRESET [TARGET...]: configures and builds; silent unless it fails. One build at a time in a tree.
build() {
  local preset=$1 log
  shift
  mkdir -p build
  log=build/$preset.log
  (
    flock 9
    { [ -f "build/$preset/build.ninja" ] || cmake --preset "$preset"; } >"$log" 2>&1 &&
      cmake --build --preset "$preset" ${1:+--target "$@"} >>"$log" 2>&1
  ) 9>build/.lock || { tail -n 40 "$log" >&2; die "the $preset build failed; all of its output is in $log"; }
}

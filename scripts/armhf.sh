#!/usr/bin/env bash
# Cross-builds for the board's 32-bit ARM, runs under emulation the tests that it can, and lets the
# emulated daemon measure a bushing on a native virtual instrument.
#   scripts/armhf.sh            all of it
#   scripts/armhf.sh --sysroot  only what `cmake --preset armhf` needs
set -u -o pipefail
cd "$(dirname "$(readlink -f "$0")")/.." || exit 1
. scripts/lib.sh

only_sysroot=
case ${1:-} in
  "") ;;
  --sysroot) only_sysroot=1 ;;
  -h | --help) sed -n '2,5s/^# \{0,1\}//p' "$0"; exit 0 ;;
  *) die "unknown word '$1'; try scripts/armhf.sh --help" ;;
esac

sysroot=build/armhf-sysroot
# folders under tests/ and their programs
folders=(common/acquisition common/acquisition/ranging common/electrical common/msg/records common/msg/state
  common/dev/fpga
  common/dev/sclk libs/fraction libs/zmb)
tests=(acquisition_test phasor_test ranging_test electrical_test msg_records_test msg_state_test fpga_test
  sclk_plan_test sclk_device_test q5plan fraction_test zmb_test)

# make_sysroot PACKAGE...: unpacks the libraries of the board's Debian, from where this machine gets its own.
make_sysroot() {
  local sources log=build/armhf-sysroot.log
  sources=$(apt-get indextargets 'Created-By: Packages' 'Label: Debian' \
    --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' | sort -u)
  [ -n "$sources" ] || die "this machine has no Debian source to take the sysroot from"
  rm -rf "$sysroot"
  local mode=root
  [ "$(id -u)" -eq 0 ] || mode=unshare
  mmdebstrap --variant=extract --architectures=armhf --mode="$mode" \
    --keyring=/usr/share/keyrings/debian-archive-keyring.gpg --include="$*" \
    "" "$sysroot" "$sources" >"$log" 2>&1 || { tail -n 5 "$log" >&2; die "the sysroot could not be made"; }
  local part link up
  for part in dev etc tmp var bin sbin; do rm -rf "${sysroot:?}/$part"; done
  # a link to / would lead out of the sysroot
  find "$sysroot" -type l -lname '/*' -printf '%P\n' | while IFS= read -r link; do
    up=$(dirname "$link" | sed 's|[^/]\+|..|g')
    ln -sfn "$up$(readlink "$sysroot/$link")" "$sysroot/$link"
  done
  printf '%s\n' "$*" >"$sysroot/packages"
}

install build test armhf
compiler=$(arm-linux-gnueabihf-g++ -dumpversion)
mapfile -t libraries < <(packages build test | grep -- '-dev$')
libraries+=(libc6-dev "libstdc++-${compiler%%.*}-dev")
if [ "${libraries[*]}" != "$(cat "$sysroot/packages" 2>/dev/null)" ]; then
  say "unpacking the libraries for 32-bit ARM"
  mkdir -p build
  make_sysroot "${libraries[@]}"
fi
[ -n "$only_sysroot" ] && exit 0

say "building for 32-bit ARM"
build armhf mos "${tests[@]}"
# a death test starts its program again, which the emulator does not do
for folder in "${folders[@]}"; do
  ctest --test-dir "build/armhf/tests/$folder" -E DeathTest -j "$(nproc)" --output-on-failure >"build/armhf.out" 2>&1 ||
    { tail -n 60 build/armhf.out; die "the tests of $folder failed on 32-bit ARM"; }
  grep 'tests passed' build/armhf.out | sed "s|^|$folder: |"
done

build release q5sim q5host
. scripts/instrument.sh
start_instrument build/release/bin qemu-arm -L "$sysroot" build/armhf/bin/mos
# 350 pF with a power factor of 0.35 % at 60 Hz
build/release/bin/q5sim ctl --root "$root" set dut.circuit parallel R=2.1653e9 C=350e-12 >/dev/null || exit 1
answer=$("${host[@]}" --via host measure --voltage 10000 --frequency 60 --range-current 5 --csv) ||
  die "the emulated daemon did not measure: $answer"
printf '%s\n' "$answer" | awk -F, '
  NR == 1 { for (i = 1; i <= NF; i++) column[$i] = i; next }
  {
    farads = $column["parallel_capacitance_pf"]; factor = $column["power_factor_percent"]
    printf "the emulated daemon measures %s pF and %s %%; 350 pF and 0.35 %% are true\n", farads, factor
    off = farads / 350 - 1; wrong = factor - 0.35
    exit !(off * off < 1e-8 && wrong * wrong < 1e-4)
  }' || die "which is too far off"

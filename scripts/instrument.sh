# A virtual instrument and a daemon on it, stopped when the script ends. Sourced after lib.sh.

root=
sim=
mos=
stop() {
  # the daemon's first SIGTERM only removes its handler, so one is sent until it has ended
  while [ -n "$mos" ] && kill "$mos"; do sleep 0.02; done
  [ -n "$sim" ] && kill "$sim"
  wait
  [ -n "$root" ] && rm -rf "$root" "$root.sim" "$root.mos"
} 2>/dev/null
trap stop EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# failed WHAT FILE: the reason in one line, from the last line that the program said.
failed() { die "$1: $(grep -v '^ *$' "$2" | tail -n 1)"; }

# start_instrument BIN DAEMON...: q5sim and q5host of BIN with the daemon that these words start,
# under a root of its own, so that two run side by side. Leaves $root, $sim, $mos, and "${host[@]}".
start_instrument() {
  local bin=$1
  shift
  root=$(mktemp -d /tmp/q5.XXXXXX) || die "cannot make a directory under /tmp"
  : >"$root.sim"
  "$bin/q5sim" --root "$root" --subnet auto >"$root.sim" 2>&1 &
  sim=$!
  until grep -q "^q5sim ready" "$root.sim"; do
    kill -0 "$sim" 2>/dev/null || { sim=; failed "the virtual instrument did not start" "$root.sim"; }
    sleep 0.02
  done

  Q5_ROOT=$root "$@" --foreground >"$root.mos" 2>&1 &
  mos=$!
  host=("$bin/q5host" --root "$root")
  until "${host[@]}" --timeout 200 progress >/dev/null 2>&1; do
    kill -0 "$mos" 2>/dev/null || { mos=; failed "the daemon did not start" "$root.mos"; }
    sleep 0.02
  done
}

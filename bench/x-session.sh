# Sourced by the bench scripts: a scratch folder $work, processes in $pids ended on exit, and,
# when $DISPLAY isn't set, a private Xvfb with openbox and xcompmgr.
pids=()
work=$(mktemp -d)
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

if [ -z "${DISPLAY:-}" ]; then
  Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$work/display" >/dev/null 2>&1 &
  pids+=("$!")
  for _ in $(seq 100); do [ -s "$work/display" ] && break; sleep 0.1; done
  export DISPLAY=":$(head -n1 "$work/display")"
  openbox >/dev/null 2>&1 & pids+=("$!")
  xcompmgr >/dev/null 2>&1 & pids+=("$!")
  sleep 1
fi

#!/usr/bin/env bash
# Measures the program on a headless sway session against the same on X11 (Xvfb with openbox):
# CPU (% of one core) and resident memory while idle with the figure shown and the record on,
# and the time from a change of the window in front to the program's source knowing it.
# Usage: bench/wayland-session.sh [release-build-dir] [seconds]   (as root, like the tests)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${2:-60}
inner=${3:-}
if [ -z "$inner" ]; then
  build=$(cd "${1:-$root/build/bench}" && pwd)
  for f in "$build/src/mirkvantle-agents" "$build/bench/focus-latency"; do
    [ -x "$f" ] || { echo "missing $f: build the Release tree first" >&2; exit 1; }
  done
  echo "X11 (Xvfb):"
  (unset WAYLAND_DISPLAY; export XDG_SESSION_TYPE=x11; . "$root/bench/x-session.sh"
   "$0" "$build" "$seconds" x11)
  echo "sway (headless, the program under Xwayland):"
  "$root/tests/wayland/desktop-session.sh" sway "$0" "$build" "$seconds" sway
  exit 0
fi
build=$1
home=$(mktemp -d)
trap 'kill $(jobs -p) 2>/dev/null; wait 2>/dev/null; rm -rf "$home"' EXIT
mkdir -p "$home/config/Mirk Vantle Agents" "$home/data" "$home/runtime"
chmod 700 "$home/runtime"
printf '[General]\nvantleURL=http://127.0.0.1:1/app\nidleAnimations=false\nrecordActivity=true\n' \
  >"$home/config/Mirk Vantle Agents/Mirk Vantle Agents.ini"
HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" XDG_RUNTIME_DIR="$home/runtime" \
  QT_QPA_PLATFORM=xcb "$build/src/mirkvantle-agents" >"$home/log" 2>&1 &
pid=$!
sleep 3
hz=$(getconf CLK_TCK)
a=$(awk '{print $14 + $15}' "/proc/$pid/stat")
sleep "$seconds"
b=$(awk '{print $14 + $15}' "/proc/$pid/stat")
rss=$(awk '/VmRSS/ {printf "%.1f", $2 / 1024}' "/proc/$pid/status")
python3 -c "print(f'  idle, figure shown, record on: {100.0 * ($b - $a) / $hz / $seconds:.2f} % of a core, $rss MiB')"
kill "$pid"
if [ "$inner" = sway ]; then
  printf '  '
  QT_QPA_PLATFORM=offscreen "$build/bench/focus-latency" "$MIRK_HELPERS/window.py" 50
fi

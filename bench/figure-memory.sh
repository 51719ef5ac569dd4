#!/usr/bin/env bash
# Resident memory of the program as the agents come on stage, at Normal and Double size, against
# a bare Qt window of the figure's size in the same session:
#   - with the first agent shown;
#   - after all four have been on stage (Ctrl+Alt+2, 3, 4 and back to 1);
# and the descriptors the program holds then, for a leak that would starve the loader.
# Usage: bench/figure-memory.sh [release-build-dir]
# Uses $DISPLAY when set; otherwise starts Xvfb with xcompmgr (and openbox) itself.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/bench}
app="$build/src/mirkvantle-agents"
bare="$build/bench/bare-window"
for f in "$app" "$bare"; do
  [ -x "$f" ] || { echo "missing $f: build the Release tree first" >&2; exit 1; }
done

. "$root/bench/x-session.sh"
export QT_QPA_PLATFORM=xcb

# A throw-away home whose workspace address reaches nobody.
home="$work/home"
config="$home/config/Mirk Vantle Agents/Mirk Vantle Agents.ini"
mkdir -p "$(dirname "$config")" "$home/data" "$home/runtime"
chmod 700 "$home/runtime"
export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" \
  XDG_RUNTIME_DIR="$home/runtime" DBUS_SESSION_BUS_ADDRESS="unix:path=$home/no-bus"

characters="$root/resources/Characters"
agents=(dorn lirra morvo pelka)
names=()
for id in "${agents[@]}"; do
  names+=("$(python3 -c "import json;print(json.load(open('$characters/$id/character.json'))['name'])")")
done
size=$(python3 -c "import json;print(int(json.load(open('$characters/dorn/character.json'))['width']))")

rss() { awk '/VmRSS/ {printf "%.1f", $2 / 1024}' "/proc/$1/status"; }
shown() { xdotool search --onlyvisible --name "^$1\$" >/dev/null 2>&1; }
# Waits up to 30 s for a visible window of this name, then for its animation to settle.
await() {
  for _ in $(seq 3000); do shown "$1" && { sleep 3; return 0; }; sleep 0.01; done
  echo "no window \"$1\"" >&2
  return 1
}

echo "session $DISPLAY, figure $size px at scale 1"
for scale in 1 2; do
  printf '[General]\nvantleURL=http://127.0.0.1:1/app\nidleAnimations=false\nscale=%s\n' \
    "$scale" >"$config"
  "$app" >/dev/null 2>&1 & pid=$!; pids+=("$pid")
  await "${names[0]}"
  one=$(rss "$pid")
  for i in 2 3 4 1; do
    xdotool key "ctrl+alt+$i"
    await "${names[$((i - 1))]}"
  done
  four=$(rss "$pid")
  fds=$(ls "/proc/$pid/fd" | wc -l)
  kill "$pid"; wait "$pid" 2>/dev/null || true

  "$bare" $((size * scale)) >/dev/null 2>&1 & pid=$!; pids+=("$pid")
  await bare
  bare_rss=$(rss "$pid")
  kill "$pid"; wait "$pid" 2>/dev/null || true

  label=$([ "$scale" = 1 ] && echo Normal || echo Double)
  echo "$label: one agent $one MiB   all four $four MiB   bare window $bare_rss MiB   descriptors $fds"
done

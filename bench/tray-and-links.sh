#!/usr/bin/env bash
# Measures the program with its tray icon and the workspace's timer running, and how fast a
# link reaches it:
#   - idle under a real tray (trayer) against the demo workspace, whose timer runs: CPU (% of
#     one core) and RSS over the measuring time, which takes in the 60-second poll and the
#     30-second redraw of the icon's tooltip;
#   - from `xdg-open mirkvantle:say?...` to the balloon on screen in the running copy, for a copy
#     installed into a prefix as a user would, median and worst of the runs;
#   - from the click on "Settings…" in the tray menu to the settings window on screen, the first
#     opening of a fresh start, over several starts.
# Usage: bench/tray-and-links.sh [release-build-dir] [seconds] [links] [starts]
# Uses $DISPLAY when set; otherwise starts Xvfb with xcompmgr (and openbox) itself.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/bench}
seconds=${2:-150}
links=${3:-20}
starts=${4:-5}
sim="$build/tools/workspace-sim/workspace-sim"
for f in "$build/src/mirkvantle-agents" "$sim"; do
  [ -x "$f" ] || { echo "missing $f: build the Release tree with the tools first" >&2; exit 1; }
done
for p in trayer xdg-open xdotool; do
  command -v "$p" >/dev/null || { echo "missing $p: run scripts/setup" >&2; exit 1; }
done

. "$root/bench/x-session.sh"
unset QT_QPA_PLATFORM
trayer --edge top --align right --widthtype request --height 28 >/dev/null 2>&1 & pids+=("$!")

# The demo workspace, whose timer runs.
"$sim" --demo --key bench-key >"$work/sim.log" 2>&1 & pids+=("$!")
for _ in $(seq 100); do grep -q "workspace at" "$work/sim.log" && break; sleep 0.1; done
url=$(sed -n 's/.*workspace at \([^,]*\),.*/\1/p' "$work/sim.log" | head -n1)

# Installed into a prefix, with a throw-away home.
prefix="$work/prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null
home="$work/home"
mkdir -p "$home/config/Mirk Vantle Agents" "$home/data" "$home/runtime"
chmod 700 "$home/runtime"
# The demo's notices stay away, so that each link's balloon is the only one.
printf '[General]\nvantleURL=%s\nidleAnimations=false\nnotifications=false\n' "$url" \
  >"$home/config/Mirk Vantle Agents/Mirk Vantle Agents.ini"
export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" \
  XDG_RUNTIME_DIR="$home/runtime" DBUS_SESSION_BUS_ADDRESS="unix:path=$home/no-bus" \
  PATH="$prefix/bin:$PATH" XDG_DATA_DIRS="$prefix/share:/usr/share" VANTLE_DESKTOP_KEY=bench-key
unset XDG_CURRENT_DESKTOP

hz=$(getconf CLK_TCK)
ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
now() { date +%s%N; }
visible() { xdotool search --onlyvisible --name '^Mirk Vantle Agents$' 2>/dev/null || true; }

mirkvantle-agents >/dev/null 2>&1 & app=$!; pids+=("$app")
until xdotool search --onlyvisible --pid "$app" >/dev/null 2>&1; do sleep 0.05; done
sleep 5
a=$(ticks "$app")
sleep "$seconds"
b=$(ticks "$app")
cpu=$(python3 -c "print(f'{100.0 * ($b - $a) / $hz / $seconds:.2f}')")
rss=$(awk '/VmRSS/ {printf "%.1f", $2 / 1024}' "/proc/$app/status")
echo "idle with tray and running timer, $seconds s: $cpu % of a core, $rss MiB"

times=()
missed=0
for i in $(seq "$links"); do
  before=$(visible)
  t0=$(now)
  xdg-open "mirkvantle:say?text=Link%20$i"
  found=""
  while [ -z "$found" ] && [ $(( ($(now) - t0) / 1000000 )) -lt 10000 ]; do
    for w in $(visible); do
      if ! grep -qx "$w" <<<"$before"; then
        found=$w
        break
      fi
    done
    [ -n "$found" ] || sleep 0.002
  done
  if [ -z "$found" ]; then
    missed=$((missed + 1))
    continue
  fi
  times+=($(( ($(now) - t0) / 1000000 )))
  # The balloon goes before the next link, so that each one opens a new one.
  xdotool windowactivate --sync "$found" key Escape >/dev/null 2>&1 || true
  for _ in $(seq 200); do grep -qx "$found" <<<"$(visible)" || break; sleep 0.01; done
done
python3 - "$missed" "${times[@]}" <<'PY'
import statistics, sys
missed, t = int(sys.argv[1]), sorted(int(x) for x in sys.argv[2:])
print(f"xdg-open to balloon on screen, {len(t)} links: median {statistics.median(t):.0f} ms, "
      f"worst {t[-1]} ms; {missed} not seen within 10 s")
PY

# The settings window, opened from the tray as a user would: the menu's third row from the end.
icon_of() {
  for w in $(xdotool search --onlyvisible --pid "$1" 2>/dev/null); do
    eval "$(xdotool getwindowgeometry --shell "$w")"
    if [ "$WIDTH" -le 48 ] && [ "$HEIGHT" -le 48 ]; then echo "$w"; return; fi
  done
}
opens=()
for i in $(seq "$starts"); do
  kill "$app" 2>/dev/null || true
  wait "$app" 2>/dev/null || true
  mirkvantle-agents >/dev/null 2>&1 & app=$!; pids+=("$app")
  icon=""
  until [ -n "$icon" ]; do sleep 0.1; icon=$(icon_of "$app"); done
  sleep 2
  eval "$(xdotool getwindowgeometry --shell "$icon")"
  xdotool mousemove $((X + WIDTH / 2)) $((Y + HEIGHT / 2)) click 1
  sleep 0.5
  xdotool key Up Up
  t0=$(now)
  xdotool key Return
  until xdotool search --onlyvisible --name 'Settings$' >/dev/null 2>&1; do sleep 0.002; done
  opens+=($(( ($(now) - t0) / 1000000 )))
done
python3 - "${opens[@]}" <<'PY'
import statistics, sys
t = sorted(int(x) for x in sys.argv[1:])
print(f"Settings… to the window on screen, first opening, {len(t)} starts: median {statistics.median(t):.0f} ms, worst {t[-1]} ms")
PY

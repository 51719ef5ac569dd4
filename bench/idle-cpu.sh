#!/usr/bin/env bash
# Measures, from /proc, what the figure costs on an otherwise quiet desktop, against a bare Qt
# window of the same size in the same session:
#   - the program idle with the figure shown and idle animations off: CPU (% of one core), RSS;
#   - a looping animation (10 cells a second) against the bare window switching its picture as
#     often;
#   - from exec to the window on screen.
# Usage: bench/idle-cpu.sh [release-build-dir] [seconds]
# Uses $DISPLAY when set; otherwise starts Xvfb with xcompmgr (and openbox) itself.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/bench}
seconds=${2:-60}
app="$build/src/mirkvantle-agents"
bare="$build/bench/bare-window"
loop="$build/bench/figure-loop"
for f in "$app" "$bare" "$loop"; do
  [ -x "$f" ] || { echo "missing $f: build the Release tree first" >&2; exit 1; }
done

. "$root/bench/x-session.sh"
export QT_QPA_PLATFORM=xcb

# A throw-away home whose workspace address reaches nobody.
home="$work/home"
mkdir -p "$home/config/Mirk Vantle Agents" "$home/data" "$home/runtime"
chmod 700 "$home/runtime"
printf '[General]\nvantleURL=http://127.0.0.1:1/app\nidleAnimations=false\n' \
  >"$home/config/Mirk Vantle Agents/Mirk Vantle Agents.ini"
export HOME="$home" XDG_CONFIG_HOME="$home/config" XDG_DATA_HOME="$home/data" \
  XDG_RUNTIME_DIR="$home/runtime" DBUS_SESSION_BUS_ADDRESS="unix:path=$home/no-bus"

# The real characters, with one animation added that shows ten cells a second.
characters="$work/Characters"
cp -r "$root/resources/Characters" "$characters"
id=$(ls "$characters" | grep -v Sounds | head -n1)
python3 - "$characters/$id/character.json" <<'PY'
import json, sys
path = sys.argv[1]
d = json.load(open(path))
d["animations"]["BenchLoop"] = [{"cell": c, "ms": 100} for c in range(10)]
json.dump(d, open(path, "w"))
PY
size=$(python3 -c "import json;print(int(json.load(open('$characters/$id/character.json'))['width']))")
mkdir -p "$home/data/mirkvantle-agents"
ln -s "$characters" "$home/data/mirkvantle-agents/Characters"
hz=$(getconf CLK_TCK)

ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }
rss() { awk '/VmRSS/ {printf "%.1f", $2 / 1024}' "/proc/$1/status"; }
now() { date +%s%N; }

# Starts a program, waits for its visible window of the given name, prints "pid ms".
launch() {
  local name=$1; shift
  local t0; t0=$(now)
  "$@" >/dev/null 2>&1 &
  local pid=$!
  until xdotool search --onlyvisible --name "^$name\$" >/dev/null 2>&1; do sleep 0.002; done
  echo "$pid $(( ($(now) - t0) / 1000000 ))"
}

# CPU of one core in percent over the measuring time, after a settling second.
cpu() {
  local pid=$1
  sleep 2
  local a; a=$(ticks "$pid")
  sleep "$seconds"
  local b; b=$(ticks "$pid")
  python3 -c "print(f'{100.0 * ($b - $a) / $hz / $seconds:.2f}')"
}

name=$(python3 -c "import json;print(json.load(open('$characters/$id/character.json'))['name'])")
echo "session $DISPLAY, $seconds s per measurement, character $id ($size px)"

read -r pid ms < <(launch "$name" "$app"); pids+=("$pid")
prog_cpu=$(cpu "$pid"); prog_rss=$(rss "$pid"); prog_ms=$ms
kill "$pid"; wait "$pid" 2>/dev/null || true

read -r pid ms < <(launch bare "$bare" "$size"); pids+=("$pid")
bare_cpu=$(cpu "$pid"); bare_rss=$(rss "$pid"); bare_ms=$ms
kill "$pid"; wait "$pid" 2>/dev/null || true

read -r pid ms < <(launch "$name" "$loop" "$characters" "$id" BenchLoop); pids+=("$pid")
loop_cpu=$(cpu "$pid")
kill "$pid"; wait "$pid" 2>/dev/null || true

read -r pid ms < <(launch bare "$bare" "$size" --switch); pids+=("$pid")
switch_cpu=$(cpu "$pid")
kill "$pid"; wait "$pid" 2>/dev/null || true

ratio() { python3 -c "a, b = $1, $2; print(f'{a / b:.2f}x' if b > 0 else 'n/a')"; }
echo "idle, figure shown:   program $prog_cpu % / $prog_rss MiB   bare window $bare_cpu % / $bare_rss MiB   ratio $(ratio "$prog_cpu" "$bare_cpu")"
echo "animation, 10 cells/s: figure $loop_cpu %   bare window switching $switch_cpu %   ratio $(ratio "$loop_cpu" "$switch_cpu")"
echo "exec to window shown: program $prog_ms ms   bare window $bare_ms ms"

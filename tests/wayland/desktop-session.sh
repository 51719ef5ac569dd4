#!/usr/bin/env bash
# Runs a test program inside a headless Wayland desktop, as a user of that desktop would.
#
#   desktop-session.sh DESKTOP PROGRAM [ARGS...]     DESKTOP: sway, kde or gnome
#
# Needs root: the desktop lives in private mount and network namespaces (each compositor's
# Xwayland wants the first free display and its own /tmp/.X11-unix), and the compositor, its
# buses and the program run as an unprivileged user, since compositors refuse root. The program
# is copied where that user can run it. It gets the session's environment (WAYLAND_DISPLAY,
# DISPLAY, the session bus, XDG_SESSION_TYPE, XDG_CURRENT_DESKTOP) and MIRK_DESKTOP, the name of
# the desktop; MIRK_EXTENSION_DIR, when set, is installed as a GNOME Shell extension and turned
# on; MIRK_PORTAL, when set, brings the global shortcuts portal with a stand-in backend that
# portal-backend.py describes; MIRK_QPA, when set, is the program's Qt platform instead of
# offscreen (xcb: on the desktop's X server, as the program runs). Exits with the program's status.
set -euo pipefail
desktop=$1
shift
here=$(cd "$(dirname "$0")" && pwd)

if [ "$(id -u)" -ne 0 ]; then
  exec sudo --preserve-env "$0" "$desktop" "$@"
fi
user=mirkvantle-desktop-test
if [ -z "${MIRK_IN_NAMESPACE:-}" ]; then
  # Xwayland leaves its lock file in the shared /tmp, with a process number of a namespace that
  # is gone, which a later desktop may take for a live server: with a few dozen of them no
  # display is free. While no desktop of this user runs, all of them are stale.
  if id "$user" >/dev/null 2>&1 && ! pgrep -u "$user" >/dev/null; then
    find /tmp -maxdepth 1 -name '.X*-lock' -user "$user" -delete
  fi
  export MIRK_IN_NAMESPACE=1
  # A private process namespace too: whatever the desktop started ends with this script.
  exec unshare --mount --net --pid --fork --mount-proc -- "$0" "$desktop" "$@"
fi
mount --make-rprivate /
mount -t tmpfs -o mode=1777 tmpfs /tmp/.X11-unix 2>/dev/null ||
  { mkdir -p -m 1777 /tmp/.X11-unix && mount -t tmpfs -o mode=1777 tmpfs /tmp/.X11-unix; }
ip link set lo up 2>/dev/null || true

id "$user" >/dev/null 2>&1 || useradd --create-home --shell /bin/bash "$user"
run=$(mktemp -d /tmp/mirk-desktop.XXXXXX)
home="$run/home"
rt="$run/runtime"
mkdir -p "$home" "$rt" "$run/bin"
cp "$1" "$run/bin/"
program="$run/bin/$(basename "$1")"
shift
cp "$here"/*.py "$run/bin/"
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  wait 2>/dev/null || true
  # Whatever the desktop started on its own (services the bus brought up) may still write into
  # the session's folder; this script is the first process of its namespace, so it ends them all.
  kill -KILL -1 2>/dev/null || true
  [ -z "${display:-}" ] || rm -f "/tmp/.X${display#:}-lock"
  for _ in $(seq 50); do
    rm -rf "$run" 2>/dev/null && break
    sleep 0.1
  done
}
trap cleanup EXIT

wait_for() { # SECONDS COMMAND...
  local end=$((SECONDS + $1))
  shift
  until "$@" >/dev/null 2>&1; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.1
  done
}

# A bus that lets every user of this namespace in, with the usual activatable services (dconf).
bus_config() {
  cat <<XML
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>$1</type>
  <listen>unix:path=$2</listen>
  <auth>EXTERNAL</auth>
  <standard_session_servicedirs/>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
XML
}
bus_config session "$rt/bus" >"$run/session.conf"
bus_config session "$rt/system-bus" >"$run/system.conf"
if [ -n "${MIRK_EXTENSION_DIR:-}" ]; then
  mkdir -p "$home/.local/share/gnome-shell/extensions"
  cp -r "$MIRK_EXTENSION_DIR" "$home/.local/share/gnome-shell/extensions/"
  cp -r "$here/shell-test-helper" "$home/.local/share/gnome-shell/extensions/mirkvantle-test-helper@mirkvantle.app"
fi
chown -R "$user": "$run"
chmod 700 "$rt"
chmod 755 "$run" "$run/bin"

as_user() {
  runuser -u "$user" -- env -i HOME="$home" USER="$user" LOGNAME="$user" PATH=/usr/local/bin:/usr/bin:/bin \
    LANG=C.UTF-8 XDG_RUNTIME_DIR="$rt" DBUS_SESSION_BUS_ADDRESS="unix:path=$rt/bus" \
    DBUS_SYSTEM_BUS_ADDRESS="unix:path=$rt/system-bus" XDG_SESSION_TYPE=wayland NO_AT_BRIDGE=1 "$@"
}

as_user dbus-daemon --config-file="$run/session.conf" --nofork --nopidfile >"$run/bus.log" 2>&1 &
pids+=("$!")
wait_for 10 test -S "$rt/bus" || { echo "the session bus did not start" >&2; exit 1; }

socket="$rt/wayland-mirk"
case "$desktop" in
  sway)
    current=sway
    printf 'output HEADLESS-1 resolution 1280x800\nxwayland enable\n' >"$run/sway.cfg"
    as_user env XDG_CURRENT_DESKTOP=sway WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
      sway -c "$run/sway.cfg" >"$run/compositor.log" 2>&1 &
    pids+=("$!")
    wait_for 20 bash -c "ls '$rt'/sway-ipc.*.sock && test -S '$rt/wayland-1'" ||
      { cat "$run/compositor.log" >&2; echo "sway did not start" >&2; exit 1; }
    socket="$rt/wayland-1"
    export SWAYSOCK
    SWAYSOCK=$(ls "$rt"/sway-ipc.*.sock)
    ;;
  kde)
    current=KDE
    kwin=/usr/bin/kwin_wayland
    # KWin carries a file capability that a container's bounding set may not allow; a plain copy
    # runs all the same.
    if ! as_user "$kwin" --version >/dev/null 2>&1; then
      cp "$kwin" "$run/bin/kwin_wayland"
      chown "$user": "$run/bin/kwin_wayland"
      kwin="$run/bin/kwin_wayland"
    fi
    as_user env XDG_CURRENT_DESKTOP=KDE KDE_FULL_SESSION=true KDE_SESSION_VERSION=5 KWIN_COMPOSE=Q \
      "$kwin" --virtual --width 1280 --height 800 --socket wayland-mirk --xwayland >"$run/compositor.log" 2>&1 &
    pids+=("$!")
    wait_for 30 as_user gdbus introspect --session -d org.kde.KWin -o /Scripting ||
      { cat "$run/compositor.log" >&2; echo "KWin did not start" >&2; exit 1; }
    ;;
  gnome)
    current=GNOME
    # GNOME Shell will not start without logind on the system bus.
    as_user dbus-daemon --config-file="$run/system.conf" --nofork --nopidfile >"$run/system-bus.log" 2>&1 &
    pids+=("$!")
    wait_for 10 test -S "$rt/system-bus" || { echo "the system bus did not start" >&2; exit 1; }
    as_user python3 -m dbusmock --system --template logind >"$run/logind.log" 2>&1 &
    pids+=("$!")
    wait_for 20 as_user gdbus introspect --system -d org.freedesktop.login1 -o /org/freedesktop/login1
    extensions="['mirkvantle-test-helper@mirkvantle.app']"
    [ -n "${MIRK_EXTENSION_DIR:-}" ] &&
      extensions="['mirkvantle-test-helper@mirkvantle.app', '$(basename "$MIRK_EXTENSION_DIR")']"
    as_user gsettings set org.gnome.shell enabled-extensions "$extensions"
    as_user env XDG_CURRENT_DESKTOP=GNOME MUTTER_DEBUG_RESET_IDLETIME=1 \
      gnome-shell --headless --wayland --wayland-display wayland-mirk --virtual-monitor 1280x800 \
      >"$run/compositor.log" 2>&1 &
    pids+=("$!")
    # The test helper turns the shell's evaluation on; the shell is ready once it has started up.
    shell_started() {
      as_user gdbus call --session -d org.gnome.Shell -o /org/gnome/Shell -m org.gnome.Shell.Eval \
        'Main.layoutManager._startingUp' | grep -q "(true, 'false')"
    }
    wait_for 60 shell_started ||
      { tail -40 "$run/compositor.log" >&2; echo "GNOME Shell did not start" >&2; exit 1; }
    ;;
  *)
    echo "unknown desktop: $desktop (sway, kde or gnome)" >&2
    exit 2
    ;;
esac
wait_for 20 test -S "$socket" || { echo "no Wayland socket" >&2; exit 1; }

# MIRK_PORTAL set: the real portal frontend, which D-Bus starts when the program first asks it,
# with the test's stand-in for the desktop's side of global shortcuts.
if [ -n "${MIRK_PORTAL:-}" ]; then
  mkdir -p "$run/portals"
  printf '[portal]\nDBusName=org.freedesktop.impl.portal.desktop.mirktest\nInterfaces=org.freedesktop.impl.portal.GlobalShortcuts;\nUseIn=%s\n' \
    "$current" >"$run/portals/mirktest.portal"
  # The frontend reads where the portals are and which desktop this is from its environment.
  as_user dbus-update-activation-environment XDG_DESKTOP_PORTAL_DIR="$run/portals" XDG_CURRENT_DESKTOP="$current"
  as_user python3 "$run/bin/portal-backend.py" >"$run/portal.log" 2>&1 &
  pids+=("$!")
  wait_for 10 as_user gdbus introspect --session -d org.freedesktop.impl.portal.desktop.mirktest \
    -o /org/freedesktop/portal/desktop || { cat "$run/portal.log" >&2; echo "no portal backend" >&2; exit 1; }
fi

# The desktop's X server: its socket is the only one in this namespace's /tmp/.X11-unix.
wait_for 20 bash -c 'ls /tmp/.X11-unix/X*' || { echo "no Xwayland" >&2; exit 1; }
display=":$(ls /tmp/.X11-unix | sed -n 's/^X//p' | head -n1)"
xauthority=$(ls "$rt"/.mutter-Xwaylandauth.* 2>/dev/null | head -n1 || true)

set +e
as_user env XDG_CURRENT_DESKTOP="$current" MIRK_DESKTOP="$desktop" WAYLAND_DISPLAY="$socket" DISPLAY="$display" \
  XAUTHORITY="$xauthority" SWAYSOCK="${SWAYSOCK:-}" MIRK_HELPERS="$run/bin" \
  ASAN_OPTIONS="${ASAN_OPTIONS:-}" LSAN_OPTIONS="${LSAN_OPTIONS:-}" UBSAN_OPTIONS="${UBSAN_OPTIONS:-}" \
  QT_QPA_PLATFORM="${MIRK_QPA:-offscreen}" "$program" "$@"
status=$?
set -e
if [ "$status" -ne 0 ]; then
  echo "--- the compositor's log" >&2
  tail -30 "$run/compositor.log" >&2
fi
exit "$status"

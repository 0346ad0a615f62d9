# Sourced by run: gives the program a display, a runtime folder and a session bus if the machine has none.
# end_session ends what was started here, each by its process id.

SESSION_PIDS=()
SESSION_DIR=
OWN_DISPLAY=no
OWN_BUS=no

session_dir() {
  [ -n "$SESSION_DIR" ] || SESSION_DIR=$(mktemp -d "${TMPDIR:-/tmp}/pellora-session.XXXXXX")
}

have_display() { [ -n "${WAYLAND_DISPLAY:-}" ] || [ -n "${DISPLAY:-}" ]; }

wait_for_line() {  # FILE SECONDS: until the file contains a whole line
  local tries=$(($2 * 20))
  while [ "$tries" -gt 0 ]; do
    [ -s "$1" ] && [ "$(wc -l <"$1")" -gt 0 ] && return 0
    sleep 0.05
    tries=$((tries - 1))
  done
  return 1
}

start_runtime_dir() {
  if [ -z "${XDG_RUNTIME_DIR:-}" ] || [ ! -d "$XDG_RUNTIME_DIR" ]; then
    session_dir
    mkdir -m 700 "$SESSION_DIR/runtime"
    export XDG_RUNTIME_DIR=$SESSION_DIR/runtime
  fi
}

start_display() {
  have_display && return 0
  session_dir
  Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$SESSION_DIR/display" >"$SESSION_DIR/xvfb.log" 2>&1 &
  SESSION_PIDS+=($!)
  if ! wait_for_line "$SESSION_DIR/display" 10; then
    echo "The virtual display did not start:" >&2
    cat "$SESSION_DIR/xvfb.log" >&2
    return 1
  fi
  export DISPLAY=":$(cat "$SESSION_DIR/display")"
  export QT_QPA_PLATFORM=xcb
  OWN_DISPLAY=yes
  openbox >"$SESSION_DIR/openbox.log" 2>&1 &
  SESSION_PIDS+=($!)
}

start_bus() {
  if [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ]; then return 0; fi
  if [ -S "$XDG_RUNTIME_DIR/bus" ]; then
    export DBUS_SESSION_BUS_ADDRESS="unix:path=$XDG_RUNTIME_DIR/bus"
    return 0
  fi
  session_dir
  dbus-daemon --session --nofork --address="unix:path=$SESSION_DIR/bus-socket" --print-address=3 3>"$SESSION_DIR/bus" >"$SESSION_DIR/bus.log" 2>&1 &
  SESSION_PIDS+=($!)
  if ! wait_for_line "$SESSION_DIR/bus" 10; then
    echo "The session bus did not start:" >&2
    cat "$SESSION_DIR/bus.log" >&2
    return 1
  fi
  DBUS_SESSION_BUS_ADDRESS=$(head -n 1 "$SESSION_DIR/bus")
  export DBUS_SESSION_BUS_ADDRESS
  OWN_BUS=yes
}

name_on_bus() {
  dbus-send --session --print-reply=literal --dest=org.freedesktop.DBus /org/freedesktop/DBus \
    org.freedesktop.DBus.NameHasOwner string:PelloraProject.Pellora 2>/dev/null | grep -q true
}

# Ends one process: SIGTERM first, so that it can save, SIGKILL if it has not ended within ten seconds.
end_process() {
  local tries=100
  kill "$1" 2>/dev/null || return 0
  while kill -0 "$1" 2>/dev/null && [ "$tries" -gt 0 ]; do
    sleep 0.1
    tries=$((tries - 1))
  done
  kill -9 "$1" 2>/dev/null || true
  wait "$1" 2>/dev/null || true
}

end_session() {
  local i
  for ((i = ${#SESSION_PIDS[@]} - 1; i >= 0; i--)); do
    end_process "${SESSION_PIDS[i]}"
  done
  SESSION_PIDS=()
  [ -z "$SESSION_DIR" ] || rm -rf "$SESSION_DIR"
  SESSION_DIR=
}

# Makes sure the uuidd daemon answers, so that libuuid hands out time-based identifiers from it:
# one request per batch instead of a file lock per identifier. Sourced by the set-up scripts;
# uses sudo when not run as root. Works with systemd (socket activation through uuidd.socket) and
# without it, as in a container, where the daemon is started by hand.

# Prints the path of the uuidd program, or fails when none is installed.
find_uuidd() {
  local p
  for p in /usr/sbin/uuidd /sbin/uuidd /usr/bin/uuidd /bin/uuidd; do
    if [ -x "$p" ]; then
      echo "$p"
      return 0
    fi
  done
  return 1
}

# True when the daemon hands out a time-based identifier.
uuidd_answers() {
  "$1" -t >/dev/null 2>&1
}

ensure_uuidd() {
  local uuidd sudo="" i
  if ! uuidd=$(find_uuidd); then
    echo "uuidd is not installed (Debian package uuid-runtime); identifiers will be slow" >&2
    return 0
  fi
  if uuidd_answers "$uuidd"; then return 0; fi
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi

  if [ -d /run/systemd/system ] && command -v systemctl >/dev/null 2>&1; then
    $sudo systemctl start uuidd.socket >/dev/null 2>&1 || true
    if uuidd_answers "$uuidd"; then return 0; fi
  fi

  # By hand: the daemon puts its socket and pid file into /run/uuidd but doesn't create it.
  # It runs as its own user when the package created one, as under systemd.
  $sudo mkdir -p /run/uuidd
  if id -u uuidd >/dev/null 2>&1; then
    $sudo chown uuidd:uuidd /run/uuidd
    $sudo runuser -u uuidd -- "$uuidd" -q || true
  else
    $sudo "$uuidd" -q || true
  fi
  for i in 1 2 3 4 5 6 7 8 9 10; do
    if uuidd_answers "$uuidd"; then
      echo "uuidd started"
      return 0
    fi
    sleep 0.5
  done
  echo "uuidd could not be started; identifiers will be slow" >&2
  return 0
}

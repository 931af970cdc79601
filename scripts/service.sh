#!/usr/bin/env bash
# Runs the sample OData service of examples/service on 127.0.0.1 for trying the component.
#
#   scripts/service.sh start     starts it (port 4004, or PORT=..., or a free one when 4004 is
#                                taken) and prints its service root URL
#   scripts/service.sh stop
#   scripts/service.sh status    prints the URL and exits 0 while it runs, exits 3 otherwise
#
# Its state and log are in $QUILLON_SERVICE_DIR (default /tmp/quillon-service-<uid>). Each start
# loads the sample data again into an in-memory database. scripts/setup.sh installs Node.js and
# the service's packages.
set -euo pipefail
cd "$(dirname "$0")/.."

dir="${QUILLON_SERVICE_DIR:-${TMPDIR:-/tmp}/quillon-service-$(id -u)}"
launcher=tests/peers/odata.sh

running() {
  [ -f "$dir/pid" ] && [ -f "$dir/peer.env" ] || return 1
  local pid
  read -r pid _ <"$dir/pid"
  kill -0 "$pid" 2>/dev/null
}

case "${1:-}" in
start)
  if running; then
    sed -n 's/^URL=//p' "$dir/peer.env"
    exit 0
  fi
  if [ -z "${PORT:-}" ] && ! (exec 3<>/dev/tcp/127.0.0.1/4004) 2>/dev/null; then
    # 4004 looked free; should another program take it first, a free port serves.
    PORT=4004 "$launcher" start "$dir" 2>/dev/null && exit 0
    "$launcher" stop "$dir" >/dev/null 2>&1 || true
  fi
  "$launcher" start "$dir"
  ;;
stop)
  "$launcher" stop "$dir"
  ;;
status)
  if running; then
    sed -n 's/^URL=//p' "$dir/peer.env"
  else
    echo "not running"
    exit 3
  fi
  ;;
*)
  echo "usage: $0 start|stop|status" >&2
  exit 2
  ;;
esac

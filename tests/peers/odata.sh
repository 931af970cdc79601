#!/usr/bin/env bash
# Runs the sample OData V2 service of examples/service on 127.0.0.1, in Atom, with its data in an
# in-memory SQLite database that each start fills again from examples/service/db/data/.
#
#   tests/peers/odata.sh start DIR    prints the service root URL; DIR/peer.env has the keys
#   tests/peers/odata.sh stop DIR
#
# PORT in the environment asks for that port instead of a free one.
source "$(dirname "$0")/common.sh"

peer_command odata "$@"

service="$repo_root/examples/service"
log="$peer_dir/service.log"
peer_logs=("$log")
command -v node >/dev/null || peer_fail "node is not installed (scripts/setup.sh installs it)"
[ -f "$service/node_modules/@sap/cds/bin/serve.js" ] ||
  peer_fail "the service's packages are missing: run scripts/setup.sh (npm ci in $service)"
wanted_port="${PORT:-}"
peer_wait_seconds=60

for attempt in 1 2 3 4 5; do
  port="$wanted_port"
  [ -n "$port" ] || port="$(peer_free_port)" || peer_fail "no free port"
  root="http://127.0.0.1:$port/odata/v2/catalog/"
  : >"$log"
  peer_spawn "$log" env -C "$service" PORT="$port" HOST=127.0.0.1 NODE_ENV=development \
    node node_modules/@sap/cds/bin/serve.js
  if peer_wait peer_answers_http "${root}\$metadata"; then
    peer_write_env \
      "URL=$root" \
      "SERVICE_URL=$root" \
      "ROOT_URL=http://127.0.0.1:$port" \
      "PORT=$port" \
      "V4_URL=http://127.0.0.1:$port/odata/v4/catalog/" \
      "LOG=$log" \
      "PAGE_SIZE=5" \
      "PRODUCTS_COUNT=13" \
      "CATEGORIES_COUNT=7" \
      "SUPPLIERS_COUNT=6" \
      "ETAG_ENTRY=Products(1)"
    echo "$root"
    exit 0
  fi
  grep -q "EADDRINUSE" "$log" && [ -z "$wanted_port" ] || peer_fail "the service did not answer"
  peer_stop_recorded
done
peer_fail "no free port after 5 attempts"

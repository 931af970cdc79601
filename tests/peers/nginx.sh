#!/usr/bin/env bash
# Runs nginx on 127.0.0.1 over HTTP and HTTPS with the static files, redirects, status pages,
# chunked and slow bodies the HTTP tests read. The paths are listed in tests/peers/README.md.
#
#   tests/peers/nginx.sh start DIR    prints the http:// URL; DIR/peer.env has the keys
#   tests/peers/nginx.sh start DIR --verify-client    HTTPS demands a client certificate of the
#                                                     test CA (400 without one)
#   tests/peers/nginx.sh stop DIR
source "$(dirname "$0")/common.sh"

peer_command nginx "$@"

command -v nginx >/dev/null || PATH="$PATH:/usr/sbin"
command -v nginx >/dev/null || peer_fail "nginx is not installed (scripts/setup.sh installs nginx-light)"
certs="$(peer_certs_dir)"
files="$peers_home/nginx-files"
corpus="${QUILLON_CORPUS:-${QUILLON_CORPUS_DIR:-$repo_root/../shared/corpus}}"
www="$peer_dir/www"
rm -rf "$www" "$peer_dir/temp"
mkdir -p "$www/feeds" "$www/odata" "$peer_dir/temp"
awk -v COUNT=3 -f "$files/feed.awk" >"$www/feeds/small.xml"
awk -v COUNT=200 -f "$files/feed.awk" >"$www/feeds/medium.xml"
awk -v COUNT=5000 -f "$files/feed.awk" >"$www/feeds/large.xml"
awk -v ENTRY=1 -f "$files/feed.awk" >"$www/odata/entry.xml"
cp "$files/metadata.xml" "$files/service.xml" "$files/error.xml" "$www/"
: >"$www/empty.txt"
[ -d "$corpus" ] || corpus="$www/no-corpus"
mkdir -p "$www/no-corpus"

verify_lines=""
for option in "${peer_args[@]}"; do
  case "$option" in
  --verify-client) verify_lines="ssl_client_certificate $certs/ca.pem; ssl_verify_client on;" ;;
  *) peer_fail "unknown option $option" ;;
  esac
done

user_line=""
[ "$(id -u)" -eq 0 ] && user_line="user root root;"
peer_logs=("$peer_dir/error.log")

write_config() {
  cat >"$peer_dir/nginx.conf" <<CONF
$user_line
daemon off;
master_process on;
worker_processes 1;
pid $peer_dir/nginx.pid;
error_log $peer_dir/error.log info;
events { worker_connections 256; }
http {
  include /etc/nginx/mime.types;
  default_type application/octet-stream;
  client_body_temp_path $peer_dir/temp/body;
  proxy_temp_path $peer_dir/temp/proxy;
  fastcgi_temp_path $peer_dir/temp/fastcgi;
  uwsgi_temp_path $peer_dir/temp/uwsgi;
  scgi_temp_path $peer_dir/temp/scgi;

  # One JSON object a line: the request line and the headers a client is expected to send.
  log_format requests escape=json '{"time":"\$time_iso8601","status":\$status,'
    '"scheme":"\$scheme","request":"\$request","length":\$request_length,'
    '"host":"\$http_host","user_agent":"\$http_user_agent","accept":"\$http_accept",'
    '"accept_encoding":"\$http_accept_encoding","authorization":"\$http_authorization",'
    '"content_type":"\$http_content_type","content_length":"\$http_content_length",'
    '"cookie":"\$http_cookie","connection":"\$http_connection","if_match":"\$http_if_match",'
    '"if_none_match":"\$http_if_none_match","dataserviceversion":"\$http_dataserviceversion",'
    '"maxdataserviceversion":"\$http_maxdataserviceversion","x_http_method":"\$http_x_http_method",'
    '"x_test":"\$http_x_test","sent":\$body_bytes_sent,"connection_requests":\$connection_requests}';
  access_log $peer_dir/access.log requests;

  sendfile on;
  keepalive_timeout 30s;
  keepalive_requests 1000;
  absolute_redirect on;
  port_in_redirect on;

  gzip on;
  gzip_min_length 256;
  gzip_proxied any;
  gzip_vary on;
  # A default_type with parameters is matched whole.
  gzip_types application/atom+xml application/xml text/xml application/json text/plain
    "application/atom+xml;type=feed;charset=utf-8" "application/atom+xml;type=entry;charset=utf-8"
    "application/atom+xml;charset=utf-8" "application/atomsvc+xml;charset=utf-8"
    "application/xml;charset=utf-8";

  server {
    listen 127.0.0.1:$port;
    listen 127.0.0.1:$https_port ssl;
    server_name localhost 127.0.0.1;
    root $www;
    ssl_certificate $certs/server-chain.pem;
    ssl_certificate_key $certs/key.key;
    ssl_protocols TLSv1.2 TLSv1.3;
    $verify_lines

    location / { }
    location /feeds/ {
      types { }
      default_type "application/atom+xml;type=feed;charset=utf-8";
    }
    # The same feeds without a length, so nginx sends them chunked.
    location /chunked/ {
      alias $www/feeds/;
      types { }
      default_type "application/atom+xml;type=feed;charset=utf-8";
      ssi on;
      ssi_types *;
    }
    # The same feeds at 50 kB/s after the first 4 kB.
    location /slow/ {
      alias $www/feeds/;
      types { }
      default_type "application/atom+xml;type=feed;charset=utf-8";
      limit_rate_after 4k;
      limit_rate 50k;
    }
    location = /odata/ {
      types { }
      default_type "application/atomsvc+xml;charset=utf-8";
      try_files /service.xml =404;
    }
    location = /odata/\$metadata {
      types { }
      default_type "application/xml;charset=utf-8";
      try_files /metadata.xml =404;
    }
    location = /odata/Items {
      types { }
      default_type "application/atom+xml;type=feed;charset=utf-8";
      try_files /feeds/medium.xml =404;
    }
    location = /odata/Items(1) {
      types { }
      default_type "application/atom+xml;type=entry;charset=utf-8";
      try_files /odata/entry.xml =404;
    }
    location /corpus/ {
      alias $corpus/;
      types { application/xml edmx; }
      default_type "application/atom+xml;charset=utf-8";
    }

    location = /redirect/301 { return 301 \$scheme://\$http_host/feeds/small.xml; }
    location = /redirect/302 { return 302 \$scheme://\$http_host/feeds/small.xml; }
    location = /redirect/303 { return 303 \$scheme://\$http_host/feeds/small.xml; }
    location = /redirect/307 { return 307 \$scheme://\$http_host/feeds/small.xml; }
    location = /redirect/308 { return 308 \$scheme://\$http_host/feeds/small.xml; }
    location = /redirect/relative { absolute_redirect off; return 302 /feeds/small.xml; }
    location = /redirect/chain { return 302 \$scheme://\$http_host/redirect/301; }
    location = /redirect/loop { return 302 \$scheme://\$http_host/redirect/loop; }
    # nginx writes an empty Location for "return 302", so the status comes from error_page.
    location = /redirect/no-location { error_page 418 =302 /empty.txt; return 418; }

    # Service error documents with their status; other paths give nginx's own pages.
    error_page 400 403 409 412 500 503 /error.xml;
    location = /error.xml { internal; types { } default_type "application/xml;charset=utf-8"; }
    location = /status/400 { return 400; }
    location = /status/403 { return 403; }
    location = /status/409 { return 409; }
    location = /status/412 { return 412; }
    location = /status/500 { return 500; }
    location = /status/503 { return 503; }
  }

  # A forward proxy reached over TLS: requests with an absolute URL go on, in plain HTTP, to
  # the loopback server they name.
  server {
    listen 127.0.0.1:$tls_proxy_port ssl;
    ssl_certificate $certs/server-chain.pem;
    ssl_certificate_key $certs/key.key;
    location / {
      if (\$host != 127.0.0.1) { return 403; }
      proxy_pass http://\$http_host;
      proxy_http_version 1.1;
      proxy_set_header Connection "";
    }
  }
}
CONF
}

for attempt in 1 2 3 4 5; do
  port="$(peer_free_port)" || peer_fail "no free port"
  https_port="$(peer_free_port)" || peer_fail "no free port"
  tls_proxy_port="$(peer_free_port)" || peer_fail "no free port"
  [ "$port" != "$https_port" ] && [ "$tls_proxy_port" != "$port" ] &&
    [ "$tls_proxy_port" != "$https_port" ] || continue
  write_config
  : >"$peer_dir/error.log"
  nginx -t -q -e "$peer_dir/error.log" -c "$peer_dir/nginx.conf" -p "$peer_dir" 2>>"$peer_dir/error.log" ||
    peer_fail "bad configuration"
  peer_spawn "$peer_dir/error.log" nginx -e "$peer_dir/error.log" -c "$peer_dir/nginx.conf" -p "$peer_dir"
  if peer_wait peer_answers_http "http://127.0.0.1:$port/empty.txt" &&
    peer_wait peer_answers_http "https://127.0.0.1:$https_port/empty.txt"; then
    url="http://127.0.0.1:$port"
    peer_write_env \
      "URL=$url" \
      "HTTPS_URL=https://127.0.0.1:$https_port" \
      "HTTPS_LOCALHOST_URL=https://localhost:$https_port" \
      "PORT=$port" \
      "HTTPS_PORT=$https_port" \
      "TLS_PROXY_PORT=$tls_proxy_port" \
      "CA_FILE=$certs/ca.pem" \
      "ACCESS_LOG=$peer_dir/access.log" \
      "ERROR_LOG=$peer_dir/error.log" \
      "DOC_ROOT=$www" \
      "SERVICE_URL=$url/odata/" \
      "CORPUS_URL=$url/corpus/"
    echo "$url"
    exit 0
  fi
  grep -q "Address already in use" "$peer_dir/error.log" || peer_fail "nginx did not answer"
  peer_stop_recorded
done
peer_fail "no free port after 5 attempts"

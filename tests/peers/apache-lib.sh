# Shared steps of the launchers that run Apache httpd (apache.sh, signon.sh), sourced after
# common.sh. They keep the served files in $served and the configuration in DIR/httpd.conf.

# The served folder of an earlier start, when it was under /tmp.
peer_cleanup() {
  if [ -f "$peer_dir/served" ]; then
    rm -rf "$(cat "$peer_dir/served")"
    rm -f "$peer_dir/served"
  fi
}

# Sets served, the folder of the served files, and user_lines. As root the children run as
# www-data and read the served files from a folder under /tmp that they can reach.
apache_served_folder() {
  if [ "$(id -u)" -eq 0 ]; then
    served="$(mktemp -d "/tmp/quillon-$peer_kind.XXXXXX")"
    echo "$served" >"$peer_dir/served"
    chmod 755 "$served"
    user_lines="User www-data
Group www-data"
  else
    served="$peer_dir/served-files"
    rm -rf "$served"
    user_lines=""
  fi
}

# Prints the head of httpd.conf on 127.0.0.1:$port: logs in DIR, the core modules and the named
# ones (mod_NAME.so), one process of 16 threads with kept connections, $served/www as the root.
#   apache_config_head SERVER_NAME LOG_LEVEL MODULE...
apache_config_head() {
  local name="$1" level="$2" module
  shift 2
  cat <<CONF
ServerRoot "$peer_dir"
ServerName $name
Listen 127.0.0.1:$port
PidFile "$peer_dir/httpd.pid"
DefaultRuntimeDir "$peer_dir"
Mutex file:$peer_dir default
ErrorLog "$peer_dir/error.log"
LogLevel $level
$user_lines

CONF
  for module in mpm_event authn_core authz_core authz_user "$@" mime reflector; do
    echo "LoadModule ${module}_module $modules/mod_${module}.so"
  done
  cat <<CONF

StartServers 1
ServerLimit 1
ThreadsPerChild 16
MaxRequestWorkers 16
MinSpareThreads 1
MaxSpareThreads 16
KeepAlive On
KeepAliveTimeout 30
TypesConfig /dev/null

DocumentRoot "$served/www"
<Directory />
  Require all granted
  AllowOverride None
</Directory>
CONF
}

#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the keystore tests, listening on 127.0.0.1 only.
#
#   pg_cluster.sh start STATE_DIR   initdb + start on the first free port from 55432 on; writes
#                                   STATE_DIR/conninfo (0600)
#   pg_cluster.sh stop STATE_DIR    stop and remove the cluster
# The data lives in a fresh directory
# under the temporary directory. The server refuses to run as root, so root runs it as the
# "postgres" user (runuser).
set -euo pipefail

action=${1:-}
state=${2:-}
[[ -n $action && -n $state ]] || { echo "usage: $0 start|stop STATE_DIR" >&2; exit 2; }

bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1 || true)
if [[ -z $bindir || ! -x $bindir/initdb ]]; then
  echo "PostgreSQL server binaries not found (install the 'postgresql' package)" >&2
  exit 1
fi

as_server() {
  if [[ $(id -u) -eq 0 ]]; then
    runuser -u postgres -- "$@"
  else
    "$@"
  fi
}

port_in_use() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }


case $action in
  start)
    mkdir -p "$state"
    data=$(mktemp -d "${TMPDIR:-/tmp}/qvks-pg.XXXXXX")
    echo "$data" >"$state/datadir"
    password=$(od -An -N16 -tx1 /dev/urandom | tr -d ' \n')
    printf '%s\n' "$password" >"$data/pwfile"
    if [[ $(id -u) -eq 0 ]]; then
      chown -R postgres: "$data"
    fi
    chmod 700 "$data"
    as_server "$bindir/initdb" -D "$data/cluster" -U postgres --auth=scram-sha-256 --pwfile="$data/pwfile" \
      -E UTF8 --no-sync >"$state/initdb.log" 2>&1 || { cat "$state/initdb.log" >&2; exit 1; }
    rm -f "$data/pwfile"
    echo "$data/cluster" >"$state/datadir"
    cat >>"$data/cluster/postgresql.conf" <<CONF
listen_addresses = '127.0.0.1'
unix_socket_directories = ''
fsync = off
max_connections = 50
CONF
    port=55432
    for _ in $(seq 1 200); do
      if ! port_in_use "$port"; then
        echo "$port" >"$state/port"
        if as_server "$bindir/pg_ctl" -D "$data/cluster" -l "$data/cluster/server.log" -w -t 60 -o "-p $port" start \
          >/dev/null; then
          umask 077
          printf 'host=127.0.0.1 port=%s user=postgres password=%s dbname=postgres connect_timeout=5\n' \
            "$port" "$password" >"$state/conninfo"
          echo "$("$bindir/postgres" --version) listening on 127.0.0.1:$port, data in $data/cluster"
          exit 0
        fi
      fi
      port=$((port + 1))
    done
    echo "could not start PostgreSQL; see $data/cluster/server.log" >&2
    exit 1
    ;;
  stop)
    [[ -f $state/datadir ]] || exit 0
    data=$(cat "$state/datadir")
    as_server "$bindir/pg_ctl" -D "$data" -m immediate -w stop >/dev/null 2>&1 || true
    rm -rf "$(dirname "$data")"
    rm -f "$state/datadir" "$state/port" "$state/conninfo" "$state/initdb.log"
    ;;
  *)
    echo "unknown action $action" >&2
    exit 2
    ;;
esac

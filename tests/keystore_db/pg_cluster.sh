#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the keystore tests on 127.0.0.1, in a fresh directory under
# the temporary one (root runs the server as "postgres", since it refuses to run as root):
#   pg_cluster.sh start STATE_DIR   start on the first free port from 55432; writes STATE_DIR/conninfo
#   pg_cluster.sh stop STATE_DIR    stop and remove the cluster
set -euo pipefail
action=${1:-}
state=${2:-}
bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1 || true)
[[ -x $bindir/initdb ]] || { echo "PostgreSQL server binaries not found (install the 'postgresql' package)" >&2; exit 1; }
as_server() { if [[ $(id -u) -eq 0 ]]; then runuser -u postgres -- "$@"; else "$@"; fi; }

case $action in
  start)
    data=$(mktemp -d "${TMPDIR:-/tmp}/qvks-pg.XXXXXX")
    mkdir -p "$state" && echo "$data/cluster" >"$state/datadir"
    password=$(od -An -N16 -tx1 /dev/urandom | tr -d ' \n')
    printf '%s\n' "$password" >"$data/pwfile"
    [[ $(id -u) -ne 0 ]] || chown -R postgres: "$data"
    chmod 700 "$data"
    as_server "$bindir/initdb" -D "$data/cluster" -U postgres --auth=scram-sha-256 --pwfile="$data/pwfile" \
      -E UTF8 --no-sync >"$state/initdb.log" 2>&1 || { cat "$state/initdb.log" >&2; exit 1; }
    rm -f "$data/pwfile"
    printf "listen_addresses = '127.0.0.1'\nunix_socket_directories = ''\nfsync = off\nmax_connections = 50\n" \
      >>"$data/cluster/postgresql.conf"
    for port in $(seq 55432 55631); do
      (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && continue
      if as_server "$bindir/pg_ctl" -D "$data/cluster" -l "$data/cluster/server.log" -w -t 60 -o "-p $port" start \
        >/dev/null; then
        (umask 077 && printf 'host=127.0.0.1 port=%s user=postgres password=%s dbname=postgres connect_timeout=5\n' \
          "$port" "$password" >"$state/conninfo") && exit 0
      fi
    done
    echo "could not start PostgreSQL; see $data/cluster/server.log" >&2
    exit 1
    ;;
  stop)
    data=$(cat "$state/datadir" 2>/dev/null) || exit 0
    as_server "$bindir/pg_ctl" -D "$data" -m immediate -w stop >/dev/null 2>&1 || true
    rm -rf "$(dirname "$data")" "$state"
    ;;
  *) echo "usage: $0 start|stop STATE_DIR" >&2 && exit 2 ;;
esac

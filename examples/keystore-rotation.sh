#!/usr/bin/env bash
# A key rotation with the database keystore, as a terminal session: create the keys, encrypt and
# sign, rotate, read the old text, rewrap it, destroy the old version, and see the old text fail;
# on the way, a record signed with the public demo key is refused.
#
#   examples/keystore-rotation.sh QVCRYPTO sqlite
#   examples/keystore-rotation.sh QVCRYPTO postgresql "host=127.0.0.1 port=5432 user=... dbname=..."
#   QVKS_PG_CONNINFO_FILE=F examples/keystore-rotation.sh QVCRYPTO postgresql
#
# In the last form the session makes a database of its own on the server whose connection string
# F holds (the tests' throwaway cluster does that), and drops it afterwards.
# Everything happens in a temporary machine root (its own SSV) and, for SQLite, a database file
# inside it; for PostgreSQL the tables are made in the database the connection string names,
# which should be an empty one. Exits non-zero when a step does not do what the session says.
set -euo pipefail

tool=$(realpath "${1:?usage: $0 QVCRYPTO sqlite|postgresql [CONNECTION]}")
backend=${2:?usage: $0 QVCRYPTO sqlite|postgresql [CONNECTION]}
work=$(mktemp -d)
own_database=""
cleanup() {
  if [[ -n $own_database ]]; then
    psql "$admin" -qc "DROP DATABASE IF EXISTS $own_database WITH (FORCE)" >/dev/null 2>&1 || true
  fi
  rm -rf "$work"
}
trap cleanup EXIT
export QVCRYPTO_MACHINE_ROOT=$work/root
mkdir -m 700 "$QVCRYPTO_MACHINE_ROOT"  # the library refuses a machine root that group or others may write
cd "$work"

case $backend in
  sqlite)
    printf '{"backend": "sqlite", "path": "%s/keys.db", "masterKey": {"source": "ssv"}}\n' "$work" >keystore.json
    ;;
  postgresql)
    connection=${3:-}
    if [[ -z $connection && -n ${QVKS_PG_CONNINFO_FILE:-} ]]; then
      admin=$(cat "$QVKS_PG_CONNINFO_FILE")
      own_database=qvks_session_$$_$RANDOM
      psql "$admin" -qc "CREATE DATABASE $own_database" >/dev/null
      connection="$admin dbname=$own_database"
    fi
    [[ -n $connection ]] || { echo "the postgresql backend needs a connection string" >&2; exit 2; }
    od -An -N32 -tx1 /dev/urandom | tr -d ' \n' >master.hex
    printf '{"backend": "postgresql", "connection": "%s", "masterKey": {"source": "host", "file": "%s/master.hex"}}\n' \
      "$connection" "$work" >keystore.json
    ;;
  *)
    echo "unknown backend $backend" >&2
    exit 2
    ;;
esac

qvcrypto() { "$tool" "$@"; }
# show COMMAND...: prints the command as typed, then runs it; its output follows.
show() {
  printf '$ %s\n' "$*" | sed -e "s|$work|\$WORK|g" -e 's|password=[^ ]*|password=***|'
  eval "$@" 2>&1 | sed -e "s|$work|\$WORK|g" -e 's|password=[^ ]*|password=***|'

  return "${PIPESTATUS[0]}"
}
expect_failure() {
  if show "$@"; then
    echo "!! expected this step to fail" >&2
    exit 1
  fi
}

echo "# backend: $backend"
show cat keystore.json
[[ $backend == sqlite ]] && show qvcrypto ssv init
show qvcrypto key create QV_ENCYPT_DECRYPT_0 --keystore-config keystore.json
show qvcrypto key create QV_HMAC_INTEGRITY_0 --keystore-config keystore.json
show "printf 'meet at noon' | qvcrypto encrypt --keystore-config keystore.json > old.txt"
show "printf 'ledger line 1' | qvcrypto hmac sign --keystore-config keystore.json > old.mac"
show "qvcrypto inspect < old.txt | grep '\"kv\"'"
show qvcrypto key rotate QV_ENCYPT_DECRYPT_0 --keystore-config keystore.json
show qvcrypto key rotate QV_HMAC_INTEGRITY_0 --keystore-config keystore.json
show qvcrypto key list --keystore-config keystore.json
show "qvcrypto decrypt --keystore-config keystore.json < old.txt; echo"
show "printf 'ledger line 1' | qvcrypto hmac verify \"\$(cat old.mac)\" --keystore-config keystore.json"
show "printf 'ledger line 1' | qvcrypto hmac sign --demo-key > forged.mac"
expect_failure "printf 'ledger line 1' | qvcrypto hmac verify \"\$(cat forged.mac)\" --keystore-config keystore.json"
show "printf 'meet at one' | qvcrypto encrypt --keystore-config keystore.json > new.txt"
show "qvcrypto inspect < new.txt | grep '\"kv\"'"
show "qvcrypto rewrap --keystore-config keystore.json < old.txt > rewrapped.txt"
show "qvcrypto inspect < rewrapped.txt | grep '\"kv\"'"
show qvcrypto key destroy QV_ENCYPT_DECRYPT_0 1 --keystore-config keystore.json
expect_failure "qvcrypto decrypt --keystore-config keystore.json < old.txt"
show "qvcrypto decrypt --keystore-config keystore.json < rewrapped.txt; echo"
show "qvcrypto decrypt --keystore-config keystore.json < new.txt; echo"
show qvcrypto key list --keystore-config keystore.json

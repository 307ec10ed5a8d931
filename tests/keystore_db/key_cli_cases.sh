#!/usr/bin/env bash
# End-to-end cases of qvcrypto's keystore commands: key_cli_cases.sh TOOL BACKEND CASE, with
# BACKEND sqlite or postgresql (a database of its own on the test cluster whose connection
# string QVKS_PG_CONNINFO_FILE holds). The checks are those of tests/support/cli_harness.sh.

tool=$1
backend=$2
case_name=$3

label="$case_name/$backend"
# shellcheck source=../support/cli_harness.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/cli_harness.sh"
admin=""
database=""
drop_database() {
  if [[ -n $database ]]; then
    psql "$admin" -qc "DROP DATABASE IF EXISTS $database WITH (FORCE)" >/dev/null 2>&1
  fi
}
trap 'drop_database; remove_work' EXIT

# The keystore configuration: SQLite in the work directory under the SSV, or PostgreSQL with a
# host master key. config_with MASTER_JSON writes another configuration on the same database.
od -An -N32 -tx1 /dev/urandom | tr -d ' \n' >"$work/master.hex"
if [[ $backend == postgresql ]]; then
  admin=$(cat "${QVKS_PG_CONNINFO_FILE:-/nonexistent}" 2>/dev/null)
  if [[ -z $admin ]]; then
    echo "no PostgreSQL test cluster (QVKS_PG_CONNINFO_FILE)" >&2
    exit 1
  fi
  database=qvks_cli_$$_$RANDOM
  psql "$admin" -qc "CREATE DATABASE $database" >/dev/null || exit 1
  location="\"backend\": \"postgresql\", \"connection\": \"$admin dbname=$database\""
  master="{\"source\": \"host\", \"file\": \"$work/master.hex\"}"
else
  location="\"backend\": \"sqlite\", \"path\": \"$work/keys.db\""
  master='{"source": "ssv"}'
fi
config_with() { printf '{%s, "masterKey": %s}\n' "$location" "$1" >"$work/$2"; echo "$work/$2"; }
config=$(config_with "$master" keystore.json)
[[ $backend == sqlite ]] && "$tool" ssv init >/dev/null

case_lifecycle() {
  while IFS='|' read -r output args; do
    # shellcheck disable=SC2086
    expect_success "$empty" $args --keystore-config "$config"
    grep -qx -- "$output" "$work/out" || fail "$args: $(cat "$work/out")"
  done <<TABLE
created QV_ENCYPT_DECRYPT_0 version 1 (aes-256-cbc, 32 bytes)|key create QV_ENCYPT_DECRYPT_0
created QV_HMAC_INTEGRITY_0 version 1 (sha256, 32 bytes)|key create QV_HMAC_INTEGRITY_0
created wide version 1 (sha512, 32 bytes)|key create wide --algorithm sha512
rotated QV_ENCYPT_DECRYPT_0: version 2 active, version 1 deactivated (still decrypts and validates)|key rotate QV_ENCYPT_DECRYPT_0
retired QV_ENCYPT_DECRYPT_0 version 2 (still decrypts and validates; no longer encrypts or signs)|key retire QV_ENCYPT_DECRYPT_0 2
rotated QV_ENCYPT_DECRYPT_0: version 3 active|key rotate QV_ENCYPT_DECRYPT_0
destroyed QV_ENCYPT_DECRYPT_0 version 1 (texts made with it can no longer be read)|key destroy QV_ENCYPT_DECRYPT_0 1
destroyed every version of wide (texts made with it can no longer be read)|key destroy wide all
TABLE
  expect_success "$empty" key list --keystore-config "$config"
  [[ $(wc -l <"$work/out") -eq 6 ]] || fail "list: $(cat "$work/out")"
  local when='[0-9-]{10}T[0-9:]{8}Z'
  for line in "NAME +VERSION +STATE +ALGORITHM +CREATED +DEACTIVATED" "QV_ENCYPT_DECRYPT_0 +1 +destroyed " \
    "QV_ENCYPT_DECRYPT_0 +2 +deactivated +aes-256-cbc +$when +$when" "QV_ENCYPT_DECRYPT_0 +3 +active +aes-256-cbc +$when +-"; do
    grep -Eq "^$line" "$work/out" || fail "list lacks /$line/: $(cat "$work/out")"
  done
  while IFS='|' read -r pattern args; do
    # shellcheck disable=SC2086
    expect_failure 3 "$pattern" "$empty" $args --keystore-config "$config"
  done <<TABLE
key create QV_ENCYPT_DECRYPT_0: KEYSTORE key already exists \[0x100000003\]|key create QV_ENCYPT_DECRYPT_0
key create odd: KEYSTORE invalid parameters|key create odd --algorithm rot13
key retire QV_ENCYPT_DECRYPT_0 2: KEYSTORE invalid parameters|key retire QV_ENCYPT_DECRYPT_0 2
key destroy QV_ENCYPT_DECRYPT_0 version 1: KEYSTORE key version not found|key destroy QV_ENCYPT_DECRYPT_0 1
key rotate nothing: KEYSTORE key not found|key rotate nothing
TABLE
}

case_usage() {
  for command in "key create" "key rotate" "key list" "key retire" "key destroy" rewrap; do
    # shellcheck disable=SC2086
    expect_success "$empty" $command --help
    grep -q "^usage: qvcrypto $command" "$work/out" || fail "'$command --help' printed no usage line"
    grep -q -- "--keystore-config FILE: use the database keystore" "$work/out" || fail "'$command --help' lacks the configuration"
  done
  printf '{"backend": "sqlite",' >"$work/broken.json"
  while IFS='|' read -r pattern args; do
    # shellcheck disable=SC2086
    expect_failure 2 "$pattern" "$empty" $args
  done <<TABLE
no keystore given; use --keystore-config|key list
no keystore given; use --keystore-config|key rotate QV_ENCYPT_DECRYPT_0
missing argument|key retire k --keystore-config $config
unexpected argument "extra"|key rotate k extra --keystore-config $config
is not a positive number|key retire k x --keystore-config $config
is not a positive number or "all"|key destroy k 0 --keystore-config $config
does not apply|key list --algorithm sha256 --keystore-config $config
cannot read keystore configuration $work/missing.json|key list --keystore-config $work/missing.json
keystore configuration $work/broken.json is not JSON|key list --keystore-config $work/broken.json
TABLE
}

# The one CLI path of a rotation: old texts and signatures still open, rewrap moves a text to the
# new version, and destroying the old version fails only what it alone protected.
case_rotation() {
  expect_success "$empty" key create QV_ENCYPT_DECRYPT_0 --keystore-config "$config"
  expect_success "$empty" key create QV_HMAC_INTEGRITY_0 --keystore-config "$config"
  expect_success "$(text "meet at noon")" encrypt --keystore-config "$config"
  cp "$work/out" "$work/old.txt"
  expect_success "$(text "ledger")" hmac sign --keystore-config "$config"
  local mac
  mac=$(cat "$work/out")
  expect_success "$empty" key rotate QV_ENCYPT_DECRYPT_0 --keystore-config "$config"
  expect_success "$empty" key rotate QV_HMAC_INTEGRITY_0 --keystore-config "$config"
  expect_success "$work/old.txt" decrypt --keystore-config "$config"
  [[ $(cat "$work/out") == "meet at noon" ]] || fail "old text after rotation: '$(cat "$work/out")'"
  expect_success "$(text "ledger")" hmac verify "$mac" --keystore-config "$config"
  expect_failure 1 "hmac verify: does not match" "$(text "ledgeR")" hmac verify "$mac" --keystore-config "$config"
  expect_success "$work/old.txt" rewrap --keystore-config "$config"
  grep -q "meet at noon" "$work/out" "$work/err" && fail "rewrap printed the plain text"
  grep -qx "qvcrypto: rewrap: QV_ENCYPT_DECRYPT_0 version 1 -> version 2" "$work/err" || fail "rewrap: $(cat "$work/err")"
  cp "$work/out" "$work/rewrapped.txt"
  expect_success "$empty" key destroy QV_ENCYPT_DECRYPT_0 1 --keystore-config "$config"
  expect_failure 3 "decrypt with keystore \"ZKSystem\": KEYSTORE key version not found \[0x100000006\]" \
    "$work/old.txt" decrypt --keystore-config "$config"
  expect_failure 3 "rewrap: cannot decrypt with QV_ENCYPT_DECRYPT_0 version 1: KEYSTORE key version not found" \
    "$work/old.txt" rewrap --keystore-config "$config"
  expect_success "$work/rewrapped.txt" decrypt --keystore-config "$config"
  [[ $(cat "$work/out") == "meet at noon" ]] || fail "rewrapped text decrypted to '$(cat "$work/out")'"
  # Without its configuration the tool does not fall back to the built-in keystore.
  expect_failure 2 "^qvcrypto: decrypt: no key given" "$work/rewrapped.txt" decrypt
  printf 'pw\n' >"$work/pw"
  expect_success "$(text secret)" encrypt --password-file "$work/pw"
  cp "$work/out" "$work/pw.txt"
  expect_failure 3 "rewrap: the text was encrypted with a password" "$work/pw.txt" rewrap --keystore-config "$config"
  expect_failure 3 "rewrap: PXA corrupted data" "$(text "not a text")" rewrap --keystore-config "$config"
}

case_master_key() {
  expect_success "$empty" key create k --keystore-config "$config"
  local other
  od -An -N32 -tx1 /dev/urandom | tr -d ' \n' >"$work/other.hex"
  other=$(config_with "{\"source\": \"host\", \"file\": \"$work/other.hex\"}" other.json)
  expect_failure 3 "keystore $other: Corrupted keystore data \[0x10000000f\]" "$empty" key list --keystore-config "$other"
  if [[ $backend == sqlite ]]; then
    # The master key sits in the database under this machine's SSV: another SSV cannot open it,
    # and without any SSV there is nothing to open it with.
    expect_success "$empty" ssv init --force
    expect_failure 3 "Corrupted keystore data" "$empty" key list --keystore-config "$config"
    rm -rf "$root/registry"
    expect_failure 3 "KEYSTORE init failure due to SSV not initialized" "$empty" key list --keystore-config "$config"
  else
    export QVKS_MASTER
    QVKS_MASTER=$(cat "$work/master.hex")
    local via_env
    via_env=$(config_with '{"source": "host", "env": "QVKS_MASTER"}' env.json)
    expect_success "$empty" key list --keystore-config "$via_env"
    grep -Eq '^k +1 +active' "$work/out" || fail "the same key through the environment: $(cat "$work/out")"
  fi
}

# Every kind of refusal a user can cause, each with its reason on the one line of standard error:
# exit code|what follows "keystore [configuration] FILE"|the configuration.
case_refusals() {
  printf 'not a database' >"$work/text.db"
  : >"$work/shared.db"
  chmod 600 "$work/text.db"
  chmod 666 "$work/shared.db"
  printf '12\n' >"$work/short.hex"
  local sqlite="\"backend\": \"sqlite\", \"path\": \"$work/never.db\""
  local key="\"masterKey\": {\"source\": \"host\", \"file\": \"$work/master.hex\"}"
  local refused="$work/refused.json"
  while IFS='|' read -r want reason json; do
    printf '%s' "$json" >"$refused"
    expect_failure "$want" "^qvcrypto: keystore (configuration )?$refused(:| is not valid:) $reason" "$empty" \
      key list --keystore-config "$refused"
  done <<TABLE
2|"backend" must be "sqlite" or "postgresql" \(backend|{"backend": "oracle", $key}
2|unknown member "pathh" in the configuration|{"backend": "sqlite", "pathh": "$work/never.db", $key}
2|"masterKey" is missing|{$sqlite}
2|cannot read the master key file $work/nokey|{$sqlite, "masterKey": {"source": "host", "file": "$work/nokey"}}
2|the master key variable QVKS_UNSET_MASTER is not set|{$sqlite, "masterKey": {"source": "host", "env": "QVKS_UNSET_MASTER"}}
2|the master key must be 64 hexadecimal digits|{$sqlite, "masterKey": {"source": "host", "file": "$work/short.hex"}}
3|cannot create $work/no/such/dir/keys.db: .*database error \[0x100000001\]|{"backend": "sqlite", "path": "$work/no/such/dir/keys.db", $key}
3|$work/shared.db is writable by group or others: .*database error|{"backend": "sqlite", "path": "$work/shared.db", $key}
3|file is not a database: Corrupted keystore data \[0x10000000f\]|{"backend": "sqlite", "path": "$work/text.db", $key}
3|connection to server .* failed: .*database error|{"backend": "postgresql", "connection": "host=127.0.0.1 port=1 user=x dbname=x", $key}
TABLE
  [[ ! -e $work/never.db ]] || fail "a refused configuration created its database"
  # A command that reaches a key through the configuration says the same.
  expect_failure 3 "^qvcrypto: keystore $refused: connection to server" "$(text data)" encrypt --keystore-config "$refused"
}

run_case

#!/usr/bin/env bash
# End-to-end cases of qvcrypto's keystore commands: key_cli_cases.sh TOOL CASE, one path through
# each command on a SQLite keystore under the SSV (both backends are the library tests' business).
# The checks are those of tests/support/cli_harness.sh; the tables are
# tests/data/keystore_cli_*.tsv, where WORK stands for the work directory.

tool=$1
case_name=$2
label=$case_name
# shellcheck source=../support/cli_harness.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/cli_harness.sh"
rows() { table "$(dirname "${BASH_SOURCE[0]}")/../data/keystore_cli_$1.tsv" | sed "s|WORK|$work|g"; }
config="$work/keystore.json"
printf '{"backend": "sqlite", "path": "%s", "masterKey": {"source": "ssv"}}\n' "$work/keys.db" >"$config"
"$tool" ssv init >/dev/null

case_commands() {
  printf '{"backend": "sqlite",' >"$work/broken.json"
  while IFS=$'\t' read -r want pattern args; do
    if [[ $want -eq 0 ]]; then
      expect_success "$empty" $args
      grep -Eq -- "$pattern" "$work/out" || fail "qvcrypto $args: no line /$pattern/: $(head -c 600 "$work/out")"
    else
      expect_failure "$want" "$pattern" "$empty" $args
    fi
  done < <(rows commands)
  # The master key sits in the database under this machine's SSV: without it there is nothing to
  # open the keystore with.
  rm -rf "$root/registry"
  expect_failure 3 "KEYSTORE init failure due to SSV not initialized" "$empty" key list --keystore-config "$config"
}

# The one CLI path of a rotation: an old text still opens, rewrap moves it to the new version, and
# destroying the old version fails only what it alone protected.
case_rotation() {
  expect_success "$empty" key create QV_ENCYPT_DECRYPT_0 --keystore-config "$config"
  expect_success "$(text "meet at noon")" encrypt --keystore-config "$config"
  cp "$work/out" "$work/old.txt"
  expect_success "$empty" key rotate QV_ENCYPT_DECRYPT_0 --keystore-config "$config"
  expect_success "$work/old.txt" decrypt --keystore-config "$config"
  expect_output "meet at noon"
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
  expect_output "meet at noon"
  printf 'pw\n' >"$work/pw"
  expect_success "$(text secret)" encrypt --password-file "$work/pw"
  cp "$work/out" "$work/pw.txt"
  expect_failure 3 "rewrap: the text was encrypted with a password" "$work/pw.txt" rewrap --keystore-config "$config"
  expect_failure 3 "rewrap: PXA corrupted data" "$(text "not a text")" rewrap --keystore-config "$config"
}

# Every kind of refusal a user can cause, each with its reason on the one line of standard error.
case_refusals() {
  printf '%064d\n' 7 >"$work/master.hex"
  printf '12\n' >"$work/short.hex"
  printf 'not a database' >"$work/text.db"
  install -m 666 /dev/null "$work/shared.db"
  local refused="$work/refused.json"
  while IFS=$'\t' read -r want reason json; do
    printf '%s' "$json" >"$refused"
    expect_failure "$want" "^qvcrypto: keystore (configuration )?$refused(:| is not valid:) $reason" "$empty" \
      key list --keystore-config "$refused"
  done < <(rows refusals)
  [[ ! -e $work/never.db ]] || fail "a refused configuration created its database"
  # A command that reaches a key through the configuration says the same.
  expect_failure 3 "^qvcrypto: keystore $refused: connection to server" "$(text data)" encrypt --keystore-config "$refused"
}

run_case

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

case_lifecycle() {
  while IFS=$'\t' read -r want line args; do
    if [[ $want -eq 0 ]]; then
      expect_success "$empty" $args --keystore-config "$config"
      expect_output "$line"
    else
      expect_failure "$want" "$line" "$empty" $args --keystore-config "$config"
    fi
  done < <(rows lifecycle)
  expect_success "$empty" key list --keystore-config "$config"
  [[ $(wc -l <"$work/out") -eq 6 ]] || fail "list: $(cat "$work/out")"
  local when='[0-9-]{10}T[0-9:]{8}Z'
  for line in "NAME +VERSION +STATE +ALGORITHM +CREATED +DEACTIVATED" "QV_ENCYPT_DECRYPT_0 +1 +destroyed " \
    "QV_ENCYPT_DECRYPT_0 +2 +deactivated +aes-256-cbc +$when +$when" "QV_ENCYPT_DECRYPT_0 +3 +active +aes-256-cbc +$when +-"; do
    grep -Eq "^$line" "$work/out" || fail "list lacks /$line/: $(cat "$work/out")"
  done
  # The master key sits in the database under this machine's SSV: another SSV cannot open it, and
  # without any SSV there is nothing to open it with.
  expect_success "$empty" ssv init --force
  expect_failure 3 "keystore $config: Corrupted keystore data \[0x10000000f\]" "$empty" key list --keystore-config "$config"
  rm -rf "$root/registry"
  expect_failure 3 "KEYSTORE init failure due to SSV not initialized" "$empty" key list --keystore-config "$config"
}

case_usage() {
  for command in "key create" "key rotate" "key list" "key retire" "key destroy" rewrap; do
    expect_success "$empty" $command --help
    grep -q "^usage: qvcrypto $command" "$work/out" || fail "'$command --help' printed no usage line"
    grep -q -- "--keystore-config FILE: use the database keystore" "$work/out" || fail "'$command --help' lacks the configuration"
  done
  printf '{"backend": "sqlite",' >"$work/broken.json"
  while IFS=$'\t' read -r pattern args; do
    expect_failure 2 "$pattern" "$empty" $args
  done < <(rows usage_errors)
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
  expect_output "meet at noon"
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
  expect_output "meet at noon"
  # Without its configuration the tool does not fall back to the built-in keystore.
  expect_failure 2 "^qvcrypto: decrypt: no key given" "$work/rewrapped.txt" decrypt
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
  : >"$work/shared.db"
  chmod 600 "$work/text.db"
  chmod 666 "$work/shared.db"
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

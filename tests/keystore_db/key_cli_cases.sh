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
if [[ $case_name == *_postgresql ]]; then
  # The cluster of the library's tests, started by ctest's fixture.
  printf '{"backend": "postgresql", "connection": "%s", "masterKey": {"source": "ssv"}}\n' \
    "$(cat "$QVKS_PG_CONNINFO_FILE")" >"$config"
  case_name=${case_name%_postgresql}
else
  printf '{"backend": "sqlite", "path": "%s", "masterKey": {"source": "ssv"}}\n' "$work/keys.db" >"$config"
fi
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

# Record hygiene: a version in use is not retired or destroyed; rewrap --in-place re-makes the
# files' outdated texts, and leaves a file in which one fails, and a link, exactly as they were;
# demo-key texts, which anyone can make, only when asked for.
case_hygiene() {
  local texts="$work/texts" k=QV_ENCYPT_DECRYPT_0
  mkdir "$texts"
  demo expect_success "$(text demo)" encrypt --demo-key
  cp "$work/out" "$texts/demo.txt"
  expect_success "$empty" key create $k --keystore-config "$config"
  expect_success "$(text one)" encrypt --keystore-config "$config"
  { echo; printf '  %s  \n' "$(cat "$work/out")"; } >"$texts/one.txt"
  chmod 640 "$texts/one.txt"
  expect_success "$(text two)" encrypt --keystore-config "$config"
  # The second line names a version that was never made: its file cannot be re-made.
  { cat "$work/out"; base64 -d <"$work/out" | sed 's/"kv":1/"kv":9/' | base64 -w0; echo; } >"$texts/broken.txt"
  cp "$texts/broken.txt" "$work/broken.before"
  expect_failure 3 "key retire $k 1: still used by 2 texts in $texts/broken.txt, $texts/one.txt; rewrap them under a newer version first" \
    "$empty" key retire $k 1 --keystore-config "$config" --unless-used-in "$texts"
  expect_success "$empty" key rotate $k --keystore-config "$config"
  run "$empty" audit "$texts" --lines --keystore-config "$config"
  [[ $code -eq 1 ]] || fail "audit of outdated texts: exit $code"
  expect_output "$k v1: 2 texts"
  expect_output "$k v9: 1 text"
  ln -s one.txt "$texts/link.txt"
  cp "$texts/demo.txt" "$work/demo.before"
  run "$empty" rewrap --in-place "$texts" --keystore-config "$config"
  [[ $code -eq 3 && $warnings -eq 0 ]] || fail "rewrap --in-place with a failing file: exit $code"
  grep -q "^qvcrypto: rewrap: $texts/broken.txt left unchanged: line 2: cannot decrypt" "$work/err" &&
    grep -q "^qvcrypto: rewrap: $texts/link.txt left unchanged: cannot read $texts/link.txt: a symbolic link" \
      "$work/err" || fail "rewrap --in-place: $(cat "$work/err")"
  expect_output "$texts/one.txt: 1 text re-made"
  expect_output "$texts/demo.txt: line 1 left: made with the built-in demo key; use --include-demo-key to re-make it"
  cmp -s "$texts/broken.txt" "$work/broken.before" || fail "the file that failed was changed"
  cmp -s "$texts/demo.txt" "$work/demo.before" || fail "a demo-key text was re-made unasked"
  [[ -L $texts/link.txt ]] || fail "rewrap --in-place replaced a link"
  rm "$texts/link.txt"
  demo expect_success "$empty" rewrap --in-place "$texts/demo.txt" --include-demo-key --keystore-config "$config"
  expect_output "$texts/demo.txt: 1 text re-made"
  expect_success "$texts/demo.txt" decrypt --keystore-config "$config"
  expect_output "demo"
  rm "$texts/demo.txt"
  [[ $(stat -c %a "$texts/one.txt") == 640 ]] || fail "rewrap --in-place changed the file's mode"
  [[ $(wc -l <"$texts/one.txt") -eq 2 ]] && sed -n 2p "$texts/one.txt" | grep -Eqx '  [A-Za-z0-9+/=]+  ' ||
    fail "rewrap --in-place changed what is around the text: $(cat "$texts/one.txt")"
  tail -n 1 "$texts/one.txt" >"$work/one.text"
  expect_success "$work/one.text" decrypt --keystore-config "$config"
  expect_output "one"
  expect_failure 3 "still used by 1 text in $texts/broken.txt" \
    "$empty" key destroy $k 1 --keystore-config "$config" --unless-used-in "$texts"
  rm "$texts/broken.txt"
  expect_success "$empty" key destroy $k 1 --keystore-config "$config" --unless-used-in "$texts"
  expect_success "$empty" audit "$texts" --lines --keystore-config "$config"
  expect_output "$k v2: 1 text"
  expect_success "$empty" key retire $k 2 --keystore-config "$config" --unless-used-in "$texts" --force
  grep -qx "qvcrypto: key retire $k 2: --force: going on although 1 text in $texts/one.txt still use it" \
    "$work/err" || fail "--force did not say what it overrode: $(cat "$work/err")"
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

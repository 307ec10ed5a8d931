#!/usr/bin/env bash
# End-to-end cases of the qvcrypto tool: cli_cases.sh TOOL DATA_DIR CASE, one path through each
# command, key source and exit code (what the library computes is tested with the library).

tool=$1
data=$2
tables="$(dirname "${BASH_SOURCE[0]}")/../data"
case_name=$3
label=$case_name
# shellcheck source=../support/cli_harness.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/cli_harness.sh"
password_file="$data/password.txt"

# Where the tool says the SSV record lives, and how a case plants one: a file below the machine
# root on POSIX, the registry of the case's Wine prefix for a Windows program (see wine-tool).
if [[ -n ${QVCS_WINE_TOOL:-} ]]; then
  record_location='HKLM\SOFTWARE\Classes\SSV, value SSV_Data'
  install_record() {
    QVCS_WINE_PREFIX="$root.wine" "$(dirname "$0")/../../cmake/wine-run" reg add 'HKLM\SOFTWARE\Classes\SSV' \
      /v SSV_Data /t REG_BINARY /d "$(od -An -v -tx1 "$1" | tr -d ' \n')" /f >/dev/null 2>&1 ||
      fail "cannot install $1 in the registry"
  }
else
  record_location="$root/registry/SOFTWARE/Classes/SSV/SSV_Data"
  install_record() {
    mkdir -p "$root/registry/SOFTWARE/Classes/SSV"
    cp "$1" "$root/registry/SOFTWARE/Classes/SSV/SSV_Data"
  }
fi

# round_trip PLAIN_FILE ARGS...: encrypts with ARGS, decrypts that with ARGS where "encrypt" turns
# "decrypt", and compares; the encrypted form stays in $work/cipher.
round_trip() {
  local plain=$1
  shift
  expect_success "$plain" "$@"
  cp "$work/out" "$work/cipher"
  expect_success "$work/cipher" "${@/encrypt/decrypt}"
  cmp -s "$plain" "$work/out" || fail "qvcrypto $*: the round trip changed the data"
}

case_usage_errors() {
  while IFS=$'\t' read -r pattern args; do
    expect_failure 2 "$pattern" "$empty" $args
  done < <(table "$tables/cli_usage_errors.tsv")
  # Asking for the password needs a terminal, which the test runner does not give.
  setsid "$tool" hash password </dev/null >"$work/out" 2>"$work/err"
  code=$?
  [[ $code -eq 2 ]] && grep -q "no terminal" "$work/err" || fail "prompt without a terminal: exit $code, $(cat "$work/err")"
}

case_help_and_version() {
  expect_success "$empty" --version
  grep -q '^qvcrypto [0-9]' "$work/out" || fail "--version printed '$(cat "$work/out")'"
  for command in "" "ssv init" "ssv status" "ssv encrypt" "ssv decrypt" encrypt decrypt rewrap "hash digest" \
    "hash checksum" "hash password" "hash derive" "verify digest" "verify checksum" "verify password" "hmac sign" \
    "hmac verify" inspect explain selftest; do
    expect_success "$empty" $command --help
    grep -q "^usage: qvcrypto ${command}" "$work/out" || fail "'$command --help' printed no usage line"
  done
}

case_explain() {
  while IFS=$'\t' read -r argument value family code_line message; do
    expect_success "$empty" explain "$argument"
    printf 'value:   %s\nfamily:  %s\ncode:    %s\nmessage: %s\n' "$value" "$family" "$code_line" "$message" |
      cmp -s - "$work/out" || fail "explain $argument printed: $(cat "$work/out")"
  done < <(table "$tables/cli_explain.tsv")
}

case_ssv_round_trip() {
  local id
  expect_failure 3 "ssv status: no readable SSV record at .*SSV_Data \(run 'qvcrypto ssv init'\)" "$empty" ssv status
  expect_failure 3 "ssv encrypt: SSV file not found or corrupted .*ssv init" "$(text secret)" ssv encrypt
  expect_success "$empty" ssv init
  id=$(sed -En 's/^SSV ready, component id ([0-9a-f]{32})$/\1/p' "$work/out")  # status shows it, or fails
  expect_success "$empty" ssv status
  expect_output "record:       $record_location"
  expect_output "loaded from:  store $record_location"
  expect_output "component id: $id"
  grep -q "^shares: *recombine" "$work/out" || fail "status lacks the shares line"
  # A second init keeps the record; --force replaces it.
  expect_success "$empty" ssv init
  grep -q "$id" "$work/out" || fail "ssv init without --force replaced the SSV"
  # Megabytes with every byte value, zero bytes too, in binary form; then a text in base64 form.
  head -c 6000000 /dev/urandom >"$work/plain"
  round_trip "$work/plain" ssv encrypt --binary
  [[ $(wc -c <"$work/cipher") -eq 6000032 ]] || fail "binary form is $(wc -c <"$work/cipher") bytes, want 16 + 6000016"
  round_trip "$(text "base64 form")" ssv encrypt
  expect_success "$empty" ssv init --force
  grep -q "$id" "$work/out" && fail "ssv init --force kept component id $id"
}

# Fixtures made on another machine, B: its record reads its own texts, not another machine's;
# with bytes flipped in the middle its shares no longer recombine.
case_ssv_other_machine() {
  install_record "$data/machine_b/SSV_Data"
  expect_success "$data/ssv_text_machine_b.txt" ssv decrypt
  [[ $(cat "$work/out") == "written on machine B" ]] || fail "machine B's own text decrypted to '$(cat "$work/out")'"
  expect_failure 3 "ssv decrypt: .*bad decrypt.*wrong key" "$data/ssv_text_machine_a.txt" ssv decrypt
  cp "$data/machine_b/SSV_Data" "$work/damaged"
  printf '\xff\xff\xff\xff\xff\xff\xff\xff' | dd of="$work/damaged" bs=1 seek=1500 conv=notrunc 2>/dev/null
  install_record "$work/damaged"
  expect_failure 3 "ssv status: .*(does not recombine|no readable SSV record)" "$empty" ssv status
  expect_failure 3 "ssv decrypt: SSV file not found or corrupted" "$data/ssv_text_machine_b.txt" ssv decrypt
}

case_machine_root_problems() {
  expect_failure 2 "machine root $work/missing is not a directory" "$empty" --machine-root "$work/missing" ssv status
  # A store path blocked by a regular file cannot be written, even by root.
  touch "$root/registry"
  expect_failure 3 "ssv init: cannot store the SSV record at $root/registry/SOFTWARE/Classes/SSV/SSV_Data: KEYSTORE" "$empty" ssv init
  rm "$root/registry"
  # A root that others may write is refused and named, with a record and a winning staging file
  # planted in it; closed again, status says the staging file is what it loaded.
  install_record "$data/machine_b/SSV_Data"
  cp "$data/machine_b/SSV_Data" "$root/stableSystemValues"
  chmod 777 "$root"
  for command in "ssv init" "ssv status" "ssv decrypt"; do
    expect_failure 3 "$command: machine root $root is writable by group or others" "$data/ssv_text_machine_b.txt" $command
  done
  chmod 755 "$root"
  expect_success "$empty" ssv status
  expect_output "loaded from:  staging file $root/stableSystemValues"
}

case_keystore_round_trip() {
  demo round_trip "$(text "demo data")" encrypt --keystore ZKSystem
  demo expect_failure 2 "no cipher text given" "$empty" decrypt --demo-key
  demo expect_failure 3 'decrypt with keystore "ZKSystem": PXA corrupted data' "$(text "B$(cut -c2- "$work/cipher")")" decrypt --demo-key
  demo expect_success "$(text "message")" hmac sign --demo-key
  cp "$work/out" "$work/mac"
  demo expect_success "$(text "message")" hmac verify "$(cat "$work/mac")" --keystore ZKSystem
  demo expect_failure 1 "hmac verify: does not match" "$(text "messagE")" hmac verify "$(cat "$work/mac")" --demo-key
}

case_password_round_trip() {
  head -c 6000000 /dev/urandom >"$work/plain"
  round_trip "$work/plain" encrypt --password-file "$password_file"
  expect_success "$data/password_text.txt" decrypt --password-file "$password_file"
  [[ $(cat "$work/out") == "the password fixture" ]] || fail "fixture decrypted to '$(cat "$work/out")'"
  WORD='correct horsf' expect_failure 3 "decrypt: .*bad decrypt.*wrong key or password" "$data/password_text.txt" \
    decrypt --password-env WORD
  # Empty data is still data: it encrypts and comes back empty.
  WORD='correct horse' round_trip "$empty" encrypt --password-env WORD
}

case_password_prompt() {
  # script gives the tool a terminal; the password typed there must not be echoed back.
  (sleep 0.5; printf 'typed secret\n') | script -qec "'$tool' hash derive --password-prompt" /dev/null >"$work/session"
  local expected=$(TYPED='typed secret' "$tool" hash derive --password-env TYPED)
  grep -q "Password: " "$work/session" || fail "no prompt on the terminal: $(od -c "$work/session" | head -3)"
  grep -q "typed secret" "$work/session" && fail "the typed password was echoed"
  grep -q -- "$expected" "$work/session" || fail "the typed password derived another key: $(cat "$work/session")"
}

# Records verify their data; inspect names each kind and its fields, protected bytes by length only.
case_records() {
  for kind in digest checksum; do
    expect_success "$(text "some data")" hash "$kind"
    cp "$work/out" "$work/$kind"
    expect_success "$(text "some data")" verify "$kind" "$(cat "$work/$kind")"
    expect_failure 1 "verify $kind: does not match" "$(text "some datA")" verify "$kind" "$(cat "$work/$kind")"
  done
  expect_success "$empty" hash password --password-file "$password_file"
  cp "$work/out" "$work/password_hash"
  expect_success "$empty" verify password "$(cat "$work/password_hash")" --password-file "$password_file"
  WORD=other expect_failure 1 "verify password: does not match" "$empty" verify password "$(cat "$work/password_hash")" \
    --password-env WORD
  expect_success "$empty" hash password --argon2id --memory-kib 64 --passes 1 --password-file "$password_file"
  cp "$work/out" "$work/argon2id_hash"
  expect_success "$empty" verify password "$(cat "$work/argon2id_hash")" --password-file "$password_file"
  WORD=other expect_failure 1 "verify password: does not match" "$empty" verify password "$(cat "$work/argon2id_hash")" \
    --password-env WORD
  expect_success "$empty" hash derive --password-file "$password_file"
  [[ $(base64 -d "$work/out" | wc -c) -eq 32 ]] || fail "derived key '$(cat "$work/out")' is not 32 bytes of base64"
  demo expect_success "$(text data)" hmac sign --demo-key
  cp "$work/out" "$work/hmac"
  demo expect_success "$(text data)" encrypt --demo-key
  cp "$work/out" "$work/keystore_text"
  # A cipher-text shape the library would refuse is still described, and said to be unreadable.
  printf '{"cd":"","cn":"x","iv":"","v":"one"}' | base64 -w0 >"$work/odd"
  while IFS=$'\t' read -r file kind field; do
    expect_success "$file" inspect
    expect_output "  \"record\": \"$kind\","
    grep -qF -- "$field" "$work/out" || fail "inspect of $kind lacks '$field': $(cat "$work/out")"
    # The output is JSON that a strict reader accepts.
    ! command -v python3 >/dev/null ||
      python3 -c 'import json,sys; json.load(open(sys.argv[1]))' "$work/out" || fail "inspect gave no JSON: $(cat "$work/out")"
  done <<TABLE
$work/digest	hashing record (salted digest)	"di": {"value": "
$work/checksum	hashing record (checksum)	"dn": {"value": "sha256",
$work/password_hash	hashing record (password hash)	"it": {"value": 10000,
$work/argon2id_hash	password hash record (Argon2id)	"m": {"value": 64,
$work/hmac	signing record (HMAC)	"kn": {"value": "QV_HMAC_INTEGRITY_0",
$work/keystore_text	cipher text (keystore key)	"cd": {"value": "(16 bytes, not shown)",
$data/password_text.txt	cipher text (password)	"sa": {"value": "IsgMMPVQHpMGAsOl3pcgMQ==",
$data/ssv_text_machine_a.txt	SSV text	"cipher text": {"value": "(32 bytes, not shown)",
$work/odd	cipher text	"readable by the library": false,
TABLE
  expect_success "$empty" inspect "$(cat "$data/password_text.txt")"
  grep -q 'the password fixture' "$work/out" && fail "inspect printed the plain text"
  while IFS=$'\t' read -r pattern input; do
    expect_failure 3 "$pattern" "$empty" inspect "$input"
  done < <(table "$tables/cli_inspect_rejects.tsv")
}

case_keystore_config() {
  expect_success "$empty" ssv init
  local config="$work/keystore.json"
  printf '{"backend": "sqlite", "path": "%s/keys.db", "masterKey": {"source": "ssv"}}\n' "$work" >"$config"
  expect_success "$empty" key create QV_ENCYPT_DECRYPT_0 --keystore-config "$config"
  expect_success "$empty" key create QV_HMAC_INTEGRITY_0 --keystore-config "$config"
  # A keystore of one's own gives no warning (the expect_ checks see to that) ...
  round_trip "$(text "ledger")" encrypt --keystore-config "$config"
  # ... and what anyone can make with the public demo key does not pass for its work.
  demo expect_success "$(text "ledger")" hmac sign --demo-key
  expect_failure 1 "hmac verify: does not match" "$(text "ledger")" hmac verify "$(cat "$work/out")" --keystore-config "$config"
}

case_selftest() {
  expect_success "$empty" selftest
  expect_output "selftest passed"
  grep -q "^FAIL" "$work/out" && fail "selftest reported a failing check"
  for check in "AES-256-CBC" "SHA-256" "HMAC-SHA256" "PBKDF2" "Argon2id" "SSV generation" "SSV recombination" \
    "keystore encryption" "password encryption" "digest" "checksum" "password hash" "derived key" "HMAC create"; do
    grep -q "^pass  .*$check" "$work/out" || fail "selftest did not pass '$check'"
  done
  # The self-test works in its own machine root and leaves the caller's alone.
  [[ -z $(ls -A "$root") ]] || fail "selftest wrote into the caller's machine root"
}

run_case

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
  # set_identity GUID: this machine's identity; remove_binding: the binding beside the record.
  set_identity() {
    QVCS_WINE_PREFIX="$root.wine" "$(dirname "$0")/../../cmake/wine-run" reg add 'HKLM\SOFTWARE\Microsoft\Cryptography' \
      /v MachineGuid /t REG_SZ /d "$1" /reg:64 /f >/dev/null 2>&1 || fail "cannot set MachineGuid"
  }
  remove_binding() {
    QVCS_WINE_PREFIX="$root.wine" "$(dirname "$0")/../../cmake/wine-run" reg delete 'HKLM\SOFTWARE\Classes\SSV' \
      /v SSV_Binding /f >/dev/null 2>&1 || fail "cannot remove the binding"
  }
else
  record_location="$root/registry/SOFTWARE/Classes/SSV/SSV_Data"
  install_record() {
    mkdir -p "$root/registry/SOFTWARE/Classes/SSV"
    cp "$1" "$root/registry/SOFTWARE/Classes/SSV/SSV_Data"
  }
  set_identity() {
    echo "${1//-/}" >"$work/machine-id"
    export QVCRYPTO_MACHINE_ID_FILE="$work/machine-id"
  }
  remove_binding() { rm "$root/registry/SOFTWARE/Classes/SSV/SSV_Binding"; }
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
  for command in "" "ssv init" "ssv status" "ssv rebind" "ssv backup" "ssv restore" "ssv encrypt" "ssv decrypt" encrypt decrypt rewrap "hash digest" \
    "hash checksum" "hash password" "hash derive" "verify digest" "verify checksum" "verify password" "hmac sign" \
    "hmac verify" inspect explain selftest audit; do
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

# The binding of the record to this machine as the machine's identity changes under it.
case_ssv_binding() {
  set_identity 11111111-2222-4333-8444-555555555555
  expect_success "$empty" --verbose ssv init
  expect_output "binding:      bound to this machine (written now)"
  [[ ! -s $work/err ]] || fail "ssv init on a machine without an SSV logged: $(cat "$work/err")"
  set_identity 66666666-7777-4888-9999-aaaaaaaaaaaa
  expect_success "$empty" ssv status --bind
  expect_output "binding:      copied from another machine (run 'qvcrypto ssv rebind' after an intended move)"
  expect_success "$empty" ssv rebind
  expect_output "binding:      bound to this machine (written now; before: copied from another machine)"
  remove_binding
  expect_success "$empty" ssv status
  expect_output "binding:      no binding yet (run 'qvcrypto ssv status --bind' to bind it to this machine)"
  expect_success "$empty" ssv status --bind
  expect_output "binding:      bound to this machine (written now)"
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

# Backup and restore through the tool; what restores take and refuse is tested with the library.
case_ssv_kits() {
  local id pass=()
  for i in 1 2 3; do
    printf 'holder %s passphrase\n' "$i" >"$work/pass$i"
    pass+=(--passphrase-file "$work/pass$i")
  done
  local backup=(ssv backup --holders 3 --threshold 2 --out "$work/kits")
  set_identity 11111111-2222-4333-8444-555555555555
  expect_failure 3 "ssv backup: no readable SSV record on this machine" "$empty" "${backup[@]}" "${pass[@]}"
  expect_success "$empty" ssv init
  id=$(sed -En 's/^SSV ready, component id ([0-9a-f]{32})$/\1/p' "$work/out")
  expect_success "$(text "made before the backup")" ssv encrypt
  cp "$work/out" "$work/old"
  expect_failure 2 "give --passphrase-file once for each of the 3 kits, in order \(2 given\)" "$empty" \
    "${backup[@]}" "${pass[@]:0:4}"
  expect_failure 2 "a backup needs 2 <= threshold <= holders <= 16 \(threshold 4, holders 3\)" "$empty" \
    ssv backup --holders 3 --threshold 4 --out "$work/kits" "${pass[@]}"
  expect_success "$empty" "${backup[@]}" "${pass[@]}"
  expect_output "backup $(sed -n 's/.*"backup":"\([0-9a-f]*\)".*/\1/p' "$work/kits/holder-1.qvkit"): 3 kits, any 2 restore the SSV, component id $id"
  expect_output "  holder 3: $work/kits/holder-3.qvkit"
  [[ -n ${QVCS_WINE_TOOL:-} || $(stat -c %a "$work/kits" "$work/kits/holder-2.qvkit" | tr '\n' ' ') == "700 600 " ]] ||
    fail "kit directory and file modes: $(stat -c %a "$work/kits" "$work/kits/holder-2.qvkit")"
  expect_failure 2 "kit directory $work/kits exists already" "$empty" "${backup[@]}" "${pass[@]}"
  # Another SSV in its place: kept without --force; kits named when they do not do.
  expect_success "$empty" ssv init --force
  local restore=(ssv restore --passphrase-file "$work/pass3" --passphrase-file "$work/pass1")
  local kits=("$work/kits/holder-3.qvkit" "$work/kits/holder-1.qvkit")
  expect_failure 3 "ssv restore: this machine already has a different SSV \(component id [0-9a-f]{32}\); force" \
    "$empty" "${restore[@]}" "${kits[@]}"
  expect_failure 3 "ssv restore: $work/kits/holder-1.qvkit: holder 1: wrong passphrase" "$empty" \
    ssv restore --passphrase-file "$work/pass3" --passphrase-file "$work/pass2" "${kits[@]}"
  expect_failure 3 "ssv restore: backup [0-9a-f]{32} needs 2 kits, 1 given" "$empty" \
    ssv restore --passphrase-file "$work/pass3" "${kits[0]}"
  # The binding the replaced record left is replaced too; this record's own is kept.
  expect_success "$empty" "${restore[@]}" --force "${kits[@]}"
  expect_output "SSV restored, component id $id"
  expect_output "binding:      bound to this machine (written now)"
  expect_success "$empty" "${restore[@]}" "${kits[@]}"
  expect_output "this SSV is already stored, component id $id"
  expect_output "binding:      bound to this machine"
  expect_success "$work/old" ssv decrypt
  [[ $(cat "$work/out") == "made before the backup" ]] || fail "the restored SSV decrypted '$(cat "$work/out")'"
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
  # A file one byte larger than encryption takes (sparse) is refused before any of it is read, so
  # nothing is written; a file size limit (room for Wine's registry) ends a tool that would stream it.
  truncate -s $(((1 << 31) - 32)) "$work/large"
  (
    ulimit -f 65536
    expect_failure 3 "encrypt: PXA invalid API arguments" "$work/large" encrypt --password-file "$password_file"
  )
}

# --output FILE takes FILE's place only when the whole command succeeded, private when new; data
# of several read pieces streams through, and a checksum is sha256sum's digest in its record.
case_output_files() {
  head -c 3000000 /dev/urandom >"$work/plain"
  expect_success "$work/plain" encrypt --password-file "$password_file" --output "$work/text"
  [[ ! -s $work/out ]] || fail "encrypt --output also wrote to standard output"
  [[ -n ${QVCS_WINE_TOOL:-} || $(stat -c %a "$work/text") == 600 ]] || fail "a new output file is not private"
  expect_success "$work/text" decrypt --password-file "$password_file" --output "$work/back"
  cmp -s "$work/plain" "$work/back" || fail "decrypt --output did not give the plain text back"
  printf 'kept' >"$work/existing"
  # Cipher bytes three short of whole blocks: plain text is written, then the last block certainly
  # fails (a wrong password would pass the padding check about once in 256 tries).
  base64 -d <"$work/text" | sed 's/"cd":"..../"cd":"/' | base64 -w0 >"$work/short"
  for target in existing new; do
    expect_failure 3 "decrypt: .*wrong final block length" "$work/short" decrypt --password-file "$password_file" \
      --output "$work/$target"
  done
  [[ $(cat "$work/existing") == kept && ! -e $work/new ]] || fail "a failed decryption changed or left an output file"
  [[ -z $(find "$work" -maxdepth 1 -name '*.part') ]] || fail "a temporary file was left: $(ls "$work")"
  expect_success "$work/plain" hash checksum --output "$work/sum"
  local digest
  digest=$(printf "$(sha256sum <"$work/plain" | cut -c1-64 | sed 's/../\\x&/g')" | base64 -w0)
  [[ $(cat "$work/sum") == "$(printf '{"di":"%s","dn":"sha256","v":1}\n' "$digest" | base64 -w0)" ]] ||
    fail "checksum record $(cat "$work/sum") is not of sha256sum's digest"
  expect_failure 3 "cannot write $work/missing/out" "$empty" hash checksum --output "$work/missing/out"
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
# audit: a verdict per text, the count per verdict in --json, and its three exit codes.
case_audit() {
  mkdir "$work/texts"
  expect_success "$(text data)" hash digest
  cp "$work/out" "$work/texts/digest"
  demo expect_success "$(text data)" encrypt --demo-key
  { cat "$work/out"; echo "not a text"; } >"$work/texts/lines"
  demo expect_success "$empty" audit "$work/texts/digest" --demo-key
  demo run "$empty" audit "$work/texts" --lines --json --demo-key
  [[ $code -eq 1 ]] || fail "audit of outdated texts: exit $code"
  grep -qF '"keyVersions":{"QV_ENCYPT_DECRYPT_0 v0":1}' "$work/out" &&
    grep -qF '"verdicts":{"current":1,"not a record":1,"re-make":1}' "$work/out" || fail "audit --json: $(cat "$work/out")"
  demo expect_failure 3 "cannot read $work/none" "$empty" audit "$work/texts" "$work/none" --demo-key
  demo expect_failure 2 'min-iterations "x" is not a positive number' "$empty" audit . --min-iterations x --demo-key
  demo expect_failure 2 'prefer "md5" is not pbkdf2, argon2id or either' "$empty" audit . --prefer md5 --demo-key
}

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

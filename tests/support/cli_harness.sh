# Harness of the tool's end-to-end case scripts, sourced by them after they set $tool (the tool
# or a stand-in that runs it), $case_name and $label (how failures name the case). Each case runs
# in a fresh machine root, $root, below a work directory, $work, that goes away at exit.
# Failures must give exactly one line on standard error and nothing on standard output. A command
# that uses the built-in demo key says so first, on a line of its own; no other command does.
set -uo pipefail

# The tool refuses a machine root that group or others may write; keep a umask of 002 from
# making one.
umask 022
work=$(mktemp -d)
remove_work() { chmod -R u+rwx "$work" 2>/dev/null; rm -rf "$work"; }
trap remove_work EXIT
root="$work/root"
mkdir "$root"
export QVCRYPTO_MACHINE_ROOT="$root"
failures=0
demo_warning='qvcrypto: warning: using the built-in demo key, which every copy of this library has; anyone can decrypt or forge what it protects'
want_warning=0

fail() {
  echo "FAIL [$label] $*" >&2
  failures=$((failures + 1))
}

# run INPUT_FILE ARGS...: runs the tool; sets $code and $warned, leaves $work/out and $work/err.
# Inside 'demo' the demo-key warning must come exactly once, first on stderr, and is taken off
# $work/err; otherwise $warned tells whether it came (the expect_ checks refuse that).
run() {
  local input=$1
  shift
  "$tool" "$@" <"$input" >"$work/out" 2>"$work/err"
  code=$?
  local warnings
  # (A Windows program may end its stderr lines with CR LF.)
  warnings=$(tr -d '\r' <"$work/err" | grep -cxF -- "$demo_warning")
  warned=0
  if [[ $want_warning -eq 0 ]]; then
    [[ $warnings -eq 0 ]] || warned=1
  elif [[ $warnings -ne 1 || $(head -n 1 "$work/err" | tr -d '\r') != "$demo_warning" ]]; then
    fail "qvcrypto $*: want the demo-key warning once, first on stderr: $(cat "$work/err")"
  else
    sed -i 1d "$work/err"
  fi
}

# demo CHECK ARGS...: runs one check of a command that uses the demo key.
demo() {
  want_warning=1
  "$@"
  want_warning=0
}

# expect_failure CODE PATTERN INPUT_FILE ARGS...: the documented code, nothing on stdout and
# one line on stderr matching PATTERN.
expect_failure() {
  local want=$1 pattern=$2
  shift 2
  run "$@"
  shift
  [[ $code -eq $want ]] || fail "qvcrypto $*: exit $code, want $want ($(head -c 300 "$work/err"))"
  [[ $warned -eq 0 ]] || fail "qvcrypto $*: warned of the demo key without being asked to use it"
  [[ ! -s $work/out ]] || fail "qvcrypto $*: wrote $(wc -c <"$work/out") bytes to stdout"
  local lines
  lines=$(wc -l <"$work/err")
  [[ $lines -eq 1 ]] || fail "qvcrypto $*: $lines lines on stderr: $(cat "$work/err")"
  grep -Eq -- "$pattern" "$work/err" || fail "qvcrypto $*: stderr '$(cat "$work/err")' lacks /$pattern/"
}

# expect_success INPUT_FILE ARGS...: exit 0; output stays in $work/out.
expect_success() {
  run "$@"
  shift
  [[ $code -eq 0 ]] || fail "qvcrypto $*: exit $code ($(cat "$work/err"))"
  [[ $warned -eq 0 ]] || fail "qvcrypto $*: warned of the demo key without being asked to use it"
}

# expect_output LINE: the last command printed LINE (a whole line, literally).
expect_output() {
  tr -d '\r' <"$work/out" | grep -qxF -- "$1" || fail "output lacks the line '$1': $(head -c 600 "$work/out")"
}

text() { printf '%s' "$1" >"$work/in"; echo "$work/in"; }
empty="$work/empty"
: >"$empty"

# table FILE: the rows of a tab-separated table file, without its comments, blank lines and
# header line; read them with IFS=$'\t'.
table() { grep -v -e '^#' -e '^$' "$1" | tail -n +2; }

# run_case: runs case_$case_name and reports.
run_case() {
  if ! declare -F "case_$case_name" >/dev/null; then
    echo "unknown case $case_name" >&2
    exit 2
  fi
  "case_$case_name"
  if [[ $failures -ne 0 ]]; then
    echo "$failures check(s) failed in $label" >&2
    exit 1
  fi
  echo "$label: all checks passed"
}

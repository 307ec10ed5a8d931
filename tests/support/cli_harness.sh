# Harness of the tool's end-to-end case scripts, sourced once they set $tool, $case_name and $label
# (the case in messages). Each case gets a fresh machine root $root in a work directory $work. A
# failure gives its exit code, nothing on stdout and one line on stderr. A command that uses the
# built-in demo key warns first on stderr, on a line of its own; no other does.
set -uo pipefail

umask 022  # the tool refuses a machine root that group or others may write
work=$(mktemp -d)
remove_work() { chmod -R u+rwx "$work" 2>/dev/null; rm -rf "$work"; }
trap remove_work EXIT
root="$work/root"
mkdir "$root"
export QVCRYPTO_MACHINE_ROOT="$root"
empty="$work/empty"
: >"$empty"
failures=0
want_warning=0
demo_warning='qvcrypto: warning: using the built-in demo key, which every copy of this library has; anyone can decrypt or forge what it protects'

# fail MESSAGE: counts a failed check; also from a subshell (a table read through process
# substitution), through a mark in the work directory.
fail() {
  echo "FAIL [$label] $*" >&2
  failures=$((failures + 1))
  : >"$work/failed"
}

# run INPUT_FILE ARGS...: runs the tool; sets $code, leaves $work/out and $work/err. Within
# 'demo' the demo-key warning must come once, first, and is taken off $work/err; elsewhere
# $warnings counts it. (A Windows program may end its stderr lines with CR LF.)
run() {
  local input=$1
  shift
  "$tool" "$@" <"$input" >"$work/out" 2>"$work/err"
  code=$?
  warnings=$(tr -d '\r' <"$work/err" | grep -cxF -- "$demo_warning")
  if [[ $want_warning -eq 1 ]]; then
    [[ $warnings -eq 1 && $(head -n 1 "$work/err" | tr -d '\r') == "$demo_warning" ]] ||
      fail "qvcrypto $*: want the demo-key warning once, first on stderr: $(cat "$work/err")"
    sed -i 1d "$work/err"
    warnings=0
  fi
}

# demo CHECK ARGS...: runs one check of a command that uses the demo key.
demo() {
  want_warning=1
  "$@"
  want_warning=0
}

# expect_success INPUT_FILE ARGS...: exit 0; the output stays in $work/out.
expect_success() {
  run "$@"
  shift
  [[ $code -eq 0 ]] || fail "qvcrypto $*: exit $code ($(cat "$work/err"))"
  [[ $warnings -eq 0 ]] || fail "qvcrypto $*: warned of the demo key without being asked to use it"
}

# expect_failure CODE PATTERN INPUT_FILE ARGS...: the code, and PATTERN on the one line of stderr.
expect_failure() {
  local want=$1 pattern=$2
  shift 2
  run "$@"
  shift
  [[ $code -eq $want ]] || fail "qvcrypto $*: exit $code, want $want ($(head -c 300 "$work/err"))"
  [[ $warnings -eq 0 ]] || fail "qvcrypto $*: warned of the demo key without being asked to use it"
  [[ ! -s $work/out ]] || fail "qvcrypto $*: wrote $(wc -c <"$work/out") bytes to stdout"
  [[ $(wc -l <"$work/err") -eq 1 ]] || fail "qvcrypto $*: not one line on stderr: $(cat "$work/err")"
  grep -Eq -- "$pattern" "$work/err" || fail "qvcrypto $*: stderr '$(cat "$work/err")' lacks /$pattern/"
}

# expect_output LINE: the last command printed LINE, whole.
expect_output() { grep -qxF -- "$1" "$work/out" || fail "no line '$1' in the output: $(head -c 600 "$work/out")"; }

text() { printf '%s' "$1" >"$work/in"; echo "$work/in"; }

# table FILE: the rows of a tab-separated table, without comments, blank lines and header line;
# a missing or empty table fails the case rather than passing a loop that never ran.
table() {
  local rows
  rows=$(grep -v -e '^#' -e '^$' "$1" | tail -n +2)
  [[ -n $rows ]] || fail "no rows in table $1"
  printf '%s\n' "$rows"
}

# run_case: runs case_$case_name and reports.
run_case() {
  declare -F "case_$case_name" >/dev/null || fail "no such case"
  [[ $failures -ne 0 ]] || "case_$case_name"
  [[ $failures -eq 0 && ! -e $work/failed ]] || exit 1
  echo "$label: all checks passed"
}

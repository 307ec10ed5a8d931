#!/bin/sh
# expect_memcheck_error.sh VALGRIND TEST_BINARY GTEST_FILTER
# Passes only when memcheck reports a use of a marked secret in the selected tests and exits
# with its error code, while the tests themselves pass: the proof that the constant-time check
# can fail.
set -u
valgrind=$1
binary=$2
filter=$3
log=$(mktemp)
trap 'rm -f "$log"' EXIT
"$valgrind" --tool=memcheck --error-exitcode=97 "$binary" --gtest_filter="$filter" >"$log" 2>&1
status=$?
cat "$log"
if [ "$status" -ne 97 ]; then
  echo "expected memcheck's error exit (97), got $status" >&2
  exit 1
fi
if ! grep -Eq 'Conditional jump or move depends on uninitialised value|Use of uninitialised value of size' "$log"; then
  echo "memcheck exited with its error code but reported no use of a secret" >&2
  exit 1
fi
if ! grep -q '\[  PASSED  \]' "$log"; then
  echo "the canary tests themselves did not pass" >&2
  exit 1
fi

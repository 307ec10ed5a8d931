#!/usr/bin/env bash
# check-installed.sh BUILD_DIR: installs BUILD_DIR into a temporary prefix, builds this folder
# against the installed CMake package (not the build tree), builds the C program once more
# through pkg-config, and runs everything, the installed qvcrypto tool included, in a temporary
# machine root.
set -euo pipefail
build_dir=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
export QVCRYPTO_MACHINE_ROOT="$work/machine"
mkdir -m 700 "$QVCRYPTO_MACHINE_ROOT"  # the library refuses a machine root that group or others may write

cmake --install "$build_dir" --prefix "$prefix" >/dev/null
cmake -S "$here" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/build" -j2 >/dev/null
# The examples must come from the installed package, not from the build tree.
if grep -rq "$build_dir" "$work/build/CMakeCache.txt"; then
  echo "examples were configured against the build tree" >&2
  exit 1
fi
export LD_LIBRARY_PATH="$prefix/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
"$work/build/cxx_quickstart"
"$work/build/c_quickstart"

libdir=$(dirname "$(find "$prefix" -name qvcryptoservice.pc)")
# shellcheck disable=SC2046
cc -std=c11 -I"$here/posix" -o "$work/c_quickstart_pc" "$here/c_quickstart.c" $(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs qvcryptoservice)
"$work/c_quickstart_pc" >/dev/null

"$prefix/bin/qvcrypto" selftest >/dev/null
export QVCS_CHECK_PASSWORD='installed tool works'
printf 'installed tool works' | "$prefix/bin/qvcrypto" encrypt --password-env QVCS_CHECK_PASSWORD |
  "$prefix/bin/qvcrypto" decrypt --password-env QVCS_CHECK_PASSWORD >/dev/null
echo "examples built against the installed package and passed"

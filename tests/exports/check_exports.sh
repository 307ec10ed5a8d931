#!/usr/bin/env bash
# Checks the shared library's export table: every name the interface promises is there, the C
# functions under their plain undecorated names, and nothing else (no internal helper, no stray
# template instantiation). An ELF library is read with nm -D, a Windows DLL with objdump -p.
#
#   check_exports.sh LIBRARY TABLE [--objdump PROGRAM]
#
# TABLE lists the names by kind (see tests/data/frame_exports.tsv).
set -euo pipefail
usage="usage: $0 LIBRARY TABLE [--objdump PROGRAM]"
[ $# -eq 2 ] || { [ $# -eq 4 ] && [ "$3" = --objdump ]; } || { echo "$usage" >&2; exit 2; }
library=$1
objdump=${4:-}
names() { awk -F '\t' -v kind="$1" '!/^#/ && NF == 2 && $1 == kind {print $2}' "$2"; }
mapfile -t c_functions < <(names c "$2")
mapfile -t internal_names < <(names internal "$2")
mapfile -t required_names < <(names required "$2")
if [ ${#c_functions[@]} -eq 0 ] || [ ${#internal_names[@]} -eq 0 ] || [ ${#required_names[@]} -eq 0 ]; then
  echo "$2: no names of some kind" >&2
  exit 2
fi

if [ -n "$objdump" ]; then
  # The DLL's export name table, names as the linker wrote them (C++ ones mangled).
  raw=$("$objdump" -p "$library" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p')
  symbols=$(c++filt <<<"$raw")
else
  raw=$(nm -D --defined-only "$library" | awk '{print $NF}')
  # Weak instantiations of standard templates over exported types (a std::map of keystores, say)
  # are emitted by the compiler wherever they are used, and AddressSanitizer adds an __odr_asan
  # marker per exported global; neither is part of our interface.
  symbols=$(nm -D --defined-only "$library" | c++filt |
    awk '{type = $2; $1 = ""; $2 = ""; sub(/^  /, "")}
         /^__odr_asan/ {next}
         type ~ /^[WVu]$/ && $0 ~ /^((typeinfo|typeinfo name|vtable|VTT) for )?([A-Za-z_][A-Za-z0-9_]* )?std::/ {next}
         {print}')
fi
if [ -z "$raw" ]; then
  echo "no exported symbols found in $library"
  exit 1
fi

status=0
# C callers link by the plain name: no C++ mangling, no leading underscore, no @N suffix.
for function in "${c_functions[@]}"; do
  if ! grep -qxF "$function" <<<"$raw"; then
    echo "missing undecorated C export: $function"
    status=1
  fi
done
for required in "${required_names[@]}"; do
  if ! grep -qE "^(QVCryptoService::)?${required}(\[abi:cxx11\])?(\(|$)" <<<"$symbols"; then
    echo "missing export: $required"
    status=1
  fi
done
# Everything exported lives in the library's namespaces or is one of its C functions.
c_alternatives=$(IFS='|'; echo "${c_functions[*]}")
allowed="^(QVCryptoService::|zkJson::|(typeinfo|typeinfo name|vtable) for (QVCryptoService|zkJson)::|(${c_alternatives})$)"
unexpected=$(grep -vE "$allowed" <<<"$symbols" || true)
if [ -n "$unexpected" ]; then
  echo "unexpected exports:"
  echo "$unexpected"
  status=1
fi
for internal in "${internal_names[@]}"; do
  if grep -qF "$internal" <<<"$symbols"; then
    echo "internal helper exported: $internal"
    status=1
  fi
done
echo "$(wc -l <<<"$symbols") exported symbols checked"
exit $status

#!/usr/bin/env bash
# check_exports.sh LIBRARY TABLE [--objdump PROGRAM]: the shared library exports every name of
# TABLE (tests/data/frame_exports.tsv), the C functions under their plain undecorated names, and
# nothing outside the library's namespaces nor any internal helper. ELF is read with nm -D, a
# Windows DLL with objdump -p.
set -euo pipefail
[ $# -eq 2 ] || { [ $# -eq 4 ] && [ "$3" = --objdump ]; } || { echo "usage: $0 LIBRARY TABLE [--objdump PROGRAM]" >&2; exit 2; }
names() { awk -F '\t' -v kind="$1" '!/^#/ && NF == 2 && $1 == kind {print $2}' "$2"; }
if [ $# -eq 4 ]; then
  raw=$("$4" -p "$1" | sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\t\[ *[0-9]*\] //p')
  symbols=$(c++filt <<<"$raw")
else
  raw=$(nm -D --defined-only "$1" | awk '{print $NF}')
  # Weak instantiations of standard templates over our types and AddressSanitizer's __odr_asan
  # markers are emitted by the compiler, not part of the interface.
  symbols=$(nm -D --defined-only "$1" | c++filt | awk '{type = $2; $1 = ""; $2 = ""; sub(/^  /, "")}
    /^__odr_asan/ || (type ~ /^[WVu]$/ && /^((typeinfo|typeinfo name|vtable|VTT) for )?([A-Za-z_][A-Za-z0-9_]* )?std::/) {next}
    {print}')
fi
[ -n "$raw" ] || { echo "no exported symbols found in $1"; exit 1; }
status=0
c_functions=$(names c "$2" | paste -sd '|')
[ -n "$c_functions" ] && [ -n "$(names required "$2")" ] && [ -n "$(names internal "$2")" ] || { echo "$2: no names of some kind" >&2; exit 2; }
# C callers link by the plain name: no C++ mangling, no leading underscore, no @N suffix.
for name in $(names c "$2"); do grep -qxF "$name" <<<"$raw" || { echo "missing undecorated C export: $name"; status=1; }; done
while read -r name; do
  grep -qE "^(QVCryptoService::)?${name}(\[abi:cxx11\])?(\(|$)" <<<"$symbols" || { echo "missing export: $name"; status=1; }
done < <(names required "$2")
unexpected=$(grep -vE "^(QVCryptoService::|zkJson::|(typeinfo|typeinfo name|vtable) for (QVCryptoService|zkJson)::|(${c_functions})$)" <<<"$symbols" || true)
[ -z "$unexpected" ] || { printf 'unexpected exports:\n%s\n' "$unexpected"; status=1; }
while read -r name; do
  if grep -qF "$name" <<<"$symbols"; then echo "internal helper exported: $name"; status=1; fi
done < <(names internal "$2")
echo "$(wc -l <<<"$symbols") exported symbols checked"
exit $status

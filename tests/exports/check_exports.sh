#!/usr/bin/env bash
# Checks the shared library's dynamic symbol table: every name the interface promises is there,
# and nothing else is (no internal helper, no stray template instantiation).
set -euo pipefail
library=$1
shift
# Weak instantiations of standard templates over exported types (a std::map of keystores, say)
# are emitted by the compiler wherever they are used, and AddressSanitizer adds an __odr_asan
# marker per exported global; neither is part of our interface.
symbols=$(nm -D --defined-only "$library" | c++filt |
  awk '{type = $2; $1 = ""; $2 = ""; sub(/^  /, "")}
       /^__odr_asan/ {next}
       type ~ /^[WVu]$/ && $0 ~ /^((typeinfo|typeinfo name|vtable|VTT) for )?([A-Za-z_][A-Za-z0-9_]* )?std::/ {next}
       {print}')
status=0
for required in "$@"; do
  if ! grep -qE "^(QVCryptoService::)?${required}(\[abi:cxx11\])?(\(|$)" <<<"$symbols"; then
    echo "missing export: $required"
    status=1
  fi
done
# Everything exported lives in the library's namespaces or is one of its C functions.
unexpected=$(grep -vE '^(QVCryptoService::|zkJson::|(typeinfo|typeinfo name|vtable) for (QVCryptoService|zkJson)::|QVHash(InitCtx|Update|Final)$|QVPB(Encrypt|Decrypt)$|SSV(Encrypt|Decrypt)$)' <<<"$symbols" || true)
if [ -n "$unexpected" ]; then
  echo "unexpected exports:"
  echo "$unexpected"
  status=1
fi
# Names that must never leave the library.
for internal in RunCipher SetReleaseObserverForTesting AllocateLockedPages ReleaseLockedPages IsPageLocked \
                KeystoreResult OpenSslResult DecodeBase64Strict FetchKeyWithRefresh KeyFitsCipher EncryptWithFreshIv \
                CompactRecordText SetStoreFileSystemForTesting AllocateCallerMemory SystemDirectory; do
  if grep -q "$internal" <<<"$symbols"; then
    echo "internal helper exported: $internal"
    status=1
  fi
done
echo "$(wc -l <<<"$symbols") exported symbols checked"
exit $status

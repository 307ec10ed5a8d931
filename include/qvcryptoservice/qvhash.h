#ifndef QVCRYPTOSERVICE_QVHASH_H
#define QVCRYPTOSERVICE_QVHASH_H

/* Incremental SHA-256 for callers that cannot use the C++ interface. */

#include <qvcryptoservice/qvcs_export.h>

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef struct QVHashCtxRecord* QVHashCtx;

/* QVHashInitCtx starts a SHA-256 computation. Returns null when the digest cannot be set up. */
QVCS_EXPORT QVHashCtx QVHashInitCtx(void);

/* QVHashUpdate feeds `len` bytes. Returns false for a handle that is not one of ours (its
   magic is wrong) or when OpenSSL fails. A null handle is the caller's error. */
QVCS_EXPORT bool QVHashUpdate(QVHashCtx handle, const unsigned char* data, uint64_t len);

/* QVHashFinal writes the 32-byte digest to `out` and frees the handle. Returns false for a
   handle that is not one of ours or when OpenSSL fails; the handle then stays allocated and is
   good for nothing but another QVHashFinal. */
QVCS_EXPORT bool QVHashFinal(QVHashCtx handle, unsigned char* out);

#ifdef __cplusplus
}
#endif

#endif

#ifndef QVCRYPTOSERVICE_QVCRYPTO_C_H
#define QVCRYPTOSERVICE_QVCRYPTO_C_H

/* The library's plain C functions, for callers that cannot use the C++ interface. */

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
   magic is wrong), for a null handle, or when OpenSSL fails. */
QVCS_EXPORT bool QVHashUpdate(QVHashCtx handle, const unsigned char* data, uint64_t len);

/* QVHashFinal writes the 32-byte digest to `out` and frees the handle. Returns false for a
   handle that is not one of ours or when OpenSSL fails; the handle then stays allocated and is
   good for nothing but another QVHashFinal. */
QVCS_EXPORT bool QVHashFinal(QVHashCtx handle, unsigned char* out);

/* QVPBEncrypt encrypts the zero-terminated `plain` under a key derived from the zero-terminated
   `password` ("aes-256-cbc", PBKDF2-HMAC-SHA256) and stores a zero-terminated serialized cipher
   text through `cipherText`. Returns 1 on success; 0 on any failure, with `*cipherText` untouched.
   The text belongs to the caller, who frees it with CoTaskMemFree on Windows and free elsewhere. */
QVCS_EXPORT uint8_t QVPBEncrypt(const char* plain, char** cipherText, const char* password);

/* QVPBDecrypt reverses QVPBEncrypt. Returns 1 with a zero-terminated plain text the caller frees
   as above; 0 on failure and also when the plain text is empty, with `*plain` untouched. */
QVCS_EXPORT uint8_t QVPBDecrypt(const char* cipherText, char** plain, const char* password);

/* SSVEncrypt encrypts the zero-terminated `plain` under this machine's SSV key and writes the
   zero-terminated base64 cipher text. When `*cipherText` is null a buffer is allocated for it
   (free it with free, on every platform); otherwise the text is written into the
   caller's buffer, which must have room for it. Any failure gives the empty string. */
QVCS_EXPORT void SSVEncrypt(const char* plain, char** cipherText);

/* SSVDecrypt reverses SSVEncrypt in the same way. The plain text is cut at its first zero byte:
   these functions are for text only. Any failure gives the empty string. */
QVCS_EXPORT void SSVDecrypt(const char* cipherText, char** plain);

/* SSVBindingState says whether this machine's SSV record is bound to this machine: 0 bound to
   this machine, 1 copied from another machine (the binding beside the record does not match
   this machine's identity or this record), 2 no binding yet, 3 cannot tell (no machine
   identity, no usable SSV, or an unreadable binding). The SSV functions work in every state. */
QVCS_EXPORT int SSVBindingState(void);

/* SSVBindToMachine binds this machine's SSV record to this machine, replacing any binding (after
   an intended move, or for a record that has none). Returns 1 once stored, 0 otherwise. */
QVCS_EXPORT int SSVBindToMachine(void);

/* SSVBindingStateText names a state of SSVBindingState ("bound to this machine", ...): static
   text, never freed; "unknown state" for any other number. */
QVCS_EXPORT const char* SSVBindingStateText(int state);

/* QVCheckRecord judges one serialized record text (zero-terminated) without its plain text or
   password: is it current, or should it be made again? `policyJson` is null for the default
   policy, or a JSON object with any of "minIterations" (PBKDF2, default 10000), "prefer"
   ("pbkdf2" or "argon2id"), "minArgon2idMemoryKiB" (19456), "minArgon2idPasses" (2) and
   "keystore" (the registered keystore to consult, default "ZKSystem"). On success it stores a
   zero-terminated JSON object through `checkJson`, freed by the caller as QVPBEncrypt's text is:
   {"activeVersion":2,"keyName":"QV_ENCYPT_DECRYPT_0","keyState":3,"keyVersion":1,
    "kind":"keystore cipher text","reasons":["..."],"verdict":"re-make"}
   (the key members only for keystore texts and HMAC records), and returns the verdict: 0
   current, 1 should be made again, 2 not a record, 3 cannot be judged. Returns -1, with
   `*checkJson` untouched, for a null argument, a policy it cannot read, or no memory. */
QVCS_EXPORT int32_t QVCheckRecord(const char* text, const char* policyJson, char** checkJson);

/* Argon2id password hashes (see password_hash.h), with the default policy of 19 MiB and 2 passes.
   Texts handed out belong to the caller, who frees them as those of QVPBEncrypt.

   QVArgon2idHash stores through `record` a zero-terminated Argon2id record of the zero-terminated
   `password`. Returns 1 on success; 0 on any failure, with `*record` untouched. */
QVCS_EXPORT uint8_t QVArgon2idHash(const char* password, char** record);

/* QVArgon2idVerify returns 1 when `record` is an Argon2id record of `password`, 0 otherwise. */
QVCS_EXPORT uint8_t QVArgon2idVerify(const char* password, const char* record);

/* QVPasswordHashUpgrade checks `password` against a PBKDF2 password hash (as CreatePasswordHash
   makes) or an Argon2id record. Returns 1 when it verifies; then, when the record is PBKDF2 or
   Argon2id below the default policy, a fresh Argon2id record of the password is stored through
   `newRecord`, to be kept instead. `*newRecord` is left untouched otherwise (pass it in as null).
   Returns 0 when the password does not verify, the record is neither kind (a PBKDF2 record
   under a digest OpenSSL does not know included) or the new record could not be made. */
QVCS_EXPORT uint8_t QVPasswordHashUpgrade(const char* password, const char* record, char** newRecord);

/* The SSV's recovery kits (ssv_recovery.h in C++). QVSSVBackUp makes `holders` kits of this
   machine's SSV, any `threshold` of which restore it; kit i is sealed under the zero-terminated
   passphrases[i] and on success kits[i] receives its zero-terminated text, which the caller frees
   as QVPBEncrypt's text is. QVSSVRestore rebuilds the SSV from `count` kit texts, each with the
   passphrase at the same position, and stores it; a different SSV already there is replaced only
   when `force` is non-zero; more than 16 kits are refused unread. The stored record is bound to
   this machine as RestoreSsv binds it. Both return 0 on success, else the SsvKitStatus value of
   the refusal (1 for a holder count or threshold out of range, checked before the arrays are
   read), and write a one-line message into `message` (cut to `messageSize` bytes with its
   terminator) unless it is null. */
QVCS_EXPORT int QVSSVBackUp(size_t holders, size_t threshold, const char* const* passphrases, char** kits,
                            char* message, size_t messageSize);
QVCS_EXPORT int QVSSVRestore(size_t count, const char* const* kits, const char* const* passphrases, int force,
                             char* message, size_t messageSize);

#ifdef __cplusplus
}
#endif

#endif

/* The plain C functions, used from C: the header must compile as C and the functions must work
   for a C caller. Exits non-zero after the checks if any failed, printing which. */

#include <qvcryptoservice/qvcrypto_c.h>

#include "task_free.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int failures = 0;

static void check(int ok, const char* what) {
  if (!ok) {
    fprintf(stderr, "FAILED: %s\n", what);
    ++failures;
  }
}

/* SHA-256 of "abc" in updates of one and two bytes after an empty one; a failed final comes first. */
static int hash_abc(unsigned char* digest) {
  QVHashCtx ctx = QVHashInitCtx();
  return ctx != NULL && QVHashUpdate(ctx, NULL, 0) && QVHashUpdate(ctx, (const unsigned char*)"a", 1) &&
         QVHashUpdate(ctx, (const unsigned char*)"bc", 2) && !QVHashFinal(ctx, NULL) && QVHashFinal(ctx, digest);
}

int main(void) {
  unsigned char data[4] = {1, 2, 3, 4};
  unsigned char digest[32];
  unsigned char foreign[64];
  size_t i;
  check(hash_abc(digest) && digest[0] == 0xba && digest[15] == 0x23 && digest[31] == 0xad, "SHA-256 of abc in pieces");
  /* A handle this library did not make, or none, is refused and left alone. */
  memset(foreign, 0x5C, sizeof foreign);
  memset(digest, 0, sizeof digest);
  check(!QVHashUpdate((QVHashCtx)(void*)foreign, data, 4) && !QVHashFinal((QVHashCtx)(void*)foreign, digest),
        "a foreign handle is refused");
  for (i = 0; i < sizeof foreign; ++i) {
    check(foreign[i] == 0x5C && (i >= sizeof digest || digest[i] == 0), "a foreign handle is left alone");
  }
  check(!QVHashUpdate(NULL, data, 4) && !QVHashFinal(NULL, digest), "no handle is refused");

  char* cipherText = NULL;
  check(QVPBEncrypt("from C", &cipherText, "pw") == 1 && cipherText != NULL, "QVPBEncrypt");
  char* plain = NULL;
  check(QVPBDecrypt(cipherText, &plain, "pw") == 1 && plain != NULL && strcmp(plain, "from C") == 0, "QVPBDecrypt");
  task_free(plain);
  task_free(cipherText);
  /* An empty plain text is encrypted, but decrypting to nothing fails like bad text, output untouched. */
  plain = (char*)foreign;
  cipherText = NULL;
  check(QVPBEncrypt("", &cipherText, "pw") == 1 && QVPBDecrypt(cipherText, &plain, "pw") == 0 &&
            QVPBDecrypt("", &plain, "pw") == 0 && QVPBDecrypt("garbage", &plain, "pw") == 0 && plain == (char*)foreign,
        "QVPBDecrypt failures");
  task_free(cipherText);

  /* Argon2id password hashes, and the upgrade of a PBKDF2 record (PBKDF2-HMAC-SHA256 of "correct
     horse", 10000 iterations) to one; an Argon2id record at the default policy needs none. */
  char* argon2id = NULL;
  char* upgraded = NULL;
  check(QVArgon2idHash("from C", &argon2id) == 1 && argon2id != NULL, "QVArgon2idHash");
  check(QVArgon2idVerify("from C", argon2id) == 1 && QVArgon2idVerify("from c", argon2id) == 0, "QVArgon2idVerify");
  check(QVPasswordHashUpgrade("from C", argon2id, &upgraded) == 1 && upgraded == NULL,
        "QVPasswordHashUpgrade at the policy");
  task_free(argon2id);
  {
    static const char pbkdf2[] =
        "eyJkaSI6IjVSVUhEZ05UcDlzQk9XR1lTNGU2dTU3Y3ovU3EzL1RRZ2FEUC84TVc2TDg9IiwiZG4iOiJzaGEyNTYiLCJpdCI6MTAwMDAsInNh"
        "IjoiQUFFQ0F3UUZCZ2NJQ1FvTERBME9Edz09IiwidiI6MX0K";
    check(QVPasswordHashUpgrade("correct horsE", pbkdf2, &upgraded) == 0 && upgraded == NULL,
          "QVPasswordHashUpgrade, wrong password");
    check(QVPasswordHashUpgrade("correct horse", pbkdf2, &upgraded) == 1 && upgraded != NULL &&
              QVArgon2idVerify("correct horse", upgraded) == 1,
          "QVPasswordHashUpgrade from PBKDF2");
    task_free(upgraded);
  }

  /* No SSV in the empty machine root the test runs in: the C interface answers with "". */
  char* ssvText = NULL;
  SSVEncrypt("secret", &ssvText);
  check(ssvText != NULL && ssvText[0] == '\0', "SSVEncrypt without an SSV gives the empty string");
  free(ssvText); /* SSVEncrypt allocates with malloc on every platform */

  printf("C interface: %d failure(s)\n", failures);
  return failures == 0 ? 0 : 1;
}

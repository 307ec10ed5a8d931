/* The plain C functions, used from C: the header must compile as C and the functions must work
   for a C caller. Exits non-zero on the first failed check, printing which. */

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

int main(void) {
  static const unsigned char expected[32] = {0xba, 0x78, 0x16, 0xbf, 0x8f, 0x01, 0xcf, 0xea, 0x41, 0x41, 0x40,
                                             0xde, 0x5d, 0xae, 0x22, 0x23, 0xb0, 0x03, 0x61, 0xa3, 0x96, 0x17,
                                             0x7a, 0x9c, 0xb4, 0x10, 0xff, 0x61, 0xf2, 0x00, 0x15, 0xad};
  unsigned char digest[32];
  QVHashCtx ctx = QVHashInitCtx();
  check(ctx != NULL, "QVHashInitCtx");
  check(QVHashUpdate(ctx, (const unsigned char*)"a", 1), "QVHashUpdate a");
  check(QVHashUpdate(ctx, (const unsigned char*)"bc", 2), "QVHashUpdate bc");
  check(QVHashFinal(ctx, digest), "QVHashFinal");
  check(memcmp(digest, expected, sizeof digest) == 0, "SHA-256 of abc");

  char* cipherText = NULL;
  check(QVPBEncrypt("from C", &cipherText, "pw") == 1 && cipherText != NULL, "QVPBEncrypt");
  char* plain = NULL;
  check(QVPBDecrypt(cipherText, &plain, "pw") == 1 && plain != NULL && strcmp(plain, "from C") == 0, "QVPBDecrypt");
  task_free(plain);
  task_free(cipherText);

  /* No SSV in the empty machine root the test runs in: the C interface answers with "". */
  char* ssvText = NULL;
  SSVEncrypt("secret", &ssvText);
  check(ssvText != NULL && ssvText[0] == '\0', "SSVEncrypt without an SSV gives the empty string");
  free(ssvText); /* SSVEncrypt allocates with malloc on every platform */

  printf("C interface: %d failure(s)\n", failures);
  return failures == 0 ? 0 : 1;
}

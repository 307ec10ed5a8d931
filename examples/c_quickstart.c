/* The C quickstart: SHA-256 through the C hashing functions, then password encryption and
   decryption through QVPBEncrypt and QVPBDecrypt. Exits 1 on any failure. */

#include <qvcryptoservice/qvcrypto_c.h>

/* FreeText releases what the C functions hand over: free_text.h of the platform's folder. */
#include "free_text.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

int main(void) {
  static const unsigned char kAbcSha256[32] = {0xba, 0x78, 0x16, 0xbf, 0x8f, 0x01, 0xcf, 0xea, 0x41, 0x41, 0x40,
                                               0xde, 0x5d, 0xae, 0x22, 0x23, 0xb0, 0x03, 0x61, 0xa3, 0x96, 0x17,
                                               0x7a, 0x9c, 0xb4, 0x10, 0xff, 0x61, 0xf2, 0x00, 0x15, 0xad};
  unsigned char digest[32];
  QVHashCtx ctx = QVHashInitCtx();
  if (ctx == NULL || !QVHashUpdate(ctx, (const unsigned char*)"abc", 3) || !QVHashFinal(ctx, digest) ||
      memcmp(digest, kAbcSha256, sizeof digest) != 0) {
    puts("C quickstart FAILED: SHA-256 of \"abc\"");
    return 1;
  }
  puts("QVHash SHA-256        ba7816bf...f20015ad");

  char* text = NULL;
  char* plain = NULL;
  if (QVPBEncrypt("meet at noon", &text, "hunter2") != 1 || QVPBDecrypt(text, &plain, "hunter2") != 1 ||
      strcmp(plain, "meet at noon") != 0) {
    puts("C quickstart FAILED: password round trip");
    FreeText(text);
    FreeText(plain);
    return 1;
  }
  printf("QVPBEncrypt           %.40s...\n", text);
  printf("QVPBDecrypt           %s\n", plain);
  FreeText(text);
  FreeText(plain);
  puts("C quickstart passed");
  return 0;
}

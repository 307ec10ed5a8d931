/* The texts of QVPBEncrypt and QVPBDecrypt come from malloc here. */
#include <stdlib.h>

static void FreeText(char* text) { free(text); }

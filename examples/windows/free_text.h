/* The texts of QVPBEncrypt and QVPBDecrypt come from the COM task allocator on Windows. */
#include <objbase.h>

static void FreeText(char* text) { CoTaskMemFree(text); }

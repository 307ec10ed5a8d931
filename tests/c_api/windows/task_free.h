/* The counterpart of the task allocator that the C functions' outputs come from. */
#include <objbase.h>

static void task_free(void* memory) { CoTaskMemFree(memory); }

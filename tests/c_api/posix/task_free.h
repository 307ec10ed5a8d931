/* The counterpart of the task allocator that the C functions' outputs come from. */
#include <stdlib.h>

static void task_free(void* memory) { free(memory); }

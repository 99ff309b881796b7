/** The codec's surroundings on a bare machine: one static block in place of the heap */
#ifndef TALV_EMBEDDED_STATIC_MEMORY_H
#define TALV_EMBEDDED_STATIC_MEMORY_H

#include <stddef.h>

extern size_t static_memory_used; /* bytes that the open instance takes */

/** Text to the debugger (semihosting) */
void say(const char *text);

#endif

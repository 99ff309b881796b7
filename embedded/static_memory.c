/* The codec without a heap and without stdio: what it takes from a C library, on static memory
 *
 * TALV_CodecOpen asks calloc() once for one block of less than 16 KiB. Here that is a static array, so that the linker
 * knows all memory there is; the second instance is refused. Messages go to the debugger, or nowhere. */
#include "static_memory.h"

#include <stdarg.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

static _Alignas(8) unsigned char instance[16 * 1024];
static int in_use;
size_t static_memory_used;

void *calloc(size_t count, size_t size)
{
    const size_t nbytes = count * size;
    if (in_use || nbytes > sizeof instance)
        return NULL;
    in_use = 1;
    static_memory_used = nbytes;
    return memset(instance, 0, nbytes);
}

void free(void *block)
{
    if (block)
        in_use = 0;
}

void say(const char *text)
{
    /* Semihosting SYS_WRITE0; under no debugger take this out. */
    register uint32_t operation __asm__("r0") = 4;
    register const char *argument __asm__("r1") = text;
    __asm__ volatile("bkpt 0xab" : "+r"(operation) : "r"(argument) : "memory");
}

/* Of the codec's two messages only the one with a number matters, and the number is always -4. */
int printf(const char *format, ...)
{
    (void)format;
    return 0;
}

int puts(const char *text)
{
    (void)text;
    return 0;
}

/* The end of a program, told to the emulator: SYS_EXIT_EXTENDED */
void exit(int status)
{
    uint32_t block[2] = {0x20026u, (uint32_t)status};
    register uint32_t operation __asm__("r0") = 0x20;
    register uint32_t *argument __asm__("r1") = block;
    __asm__ volatile("bkpt 0xab" : "+r"(operation) : "r"(argument) : "memory");
    for (;;) {
    }
}

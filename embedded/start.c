/* Start of a bare Cortex-M4F or Cortex-M7: vector table, floating-point unit on, memory cleared, main() */
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

extern uint32_t stack_top[], bss_start[], bss_end[];

int main(int argc, char **argv);
void __libc_init_array(void);
void initialise_monitor_handles(void) __attribute__((weak)); /* newlib's semihosting, where it is linked */
void _init(void);
void _fini(void);

/* What crtbegin would have brought; everything is in the arrays of the linker script. */
void _init(void) {}
void _fini(void) {}

/* Coprocessors 10 and 11, the floating-point unit, open to all (Armv7-M Architecture Reference Manual, B3.2.20) */
#define CPACR (*(volatile uint32_t *)0xe000ed88u)

__attribute__((noreturn, used)) static void run(void)
{
    static char name[] = "bare";
    static char *arguments[] = {name, NULL};
    memset(bss_start, 0, (size_t)((char *)bss_end - (char *)bss_start));
    if (initialise_monitor_handles)
        initialise_monitor_handles();
    __libc_init_array();
    exit(main(1, arguments));
}

/* No floating-point instruction may come before the unit is on: not even a saved register. */
__attribute__((noreturn, naked)) void reset(void)
{
    __asm__ volatile("ldr r0, =%c0\n"
                     "ldr r1, [r0]\n"
                     "orr r1, r1, #0xf00000\n"
                     "str r1, [r0]\n"
                     "dsb\n"
                     "isb\n"
                     "b run\n" ::"i"(&CPACR));
}

static void stuck(void)
{
    exit(99);
}

typedef void (*vector)(void);
__attribute__((section(".vectors"), used)) static const vector vectors[16] = {
    (vector)stack_top,
    reset,
    stuck,
    stuck,
    stuck,
    stuck,
    stuck,
    NULL,
    NULL,
    NULL,
    NULL,
    stuck,
    stuck,
    NULL,
    stuck,
    stuck,
};

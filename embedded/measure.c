/* What a frame costs on a bare Cortex-M: instructions and stack, over the recordings and the hardest streams of the
 * conformance suite
 *
 * To be run by qemu-system-arm with -icount shift=0: every instruction then takes one nanosecond of the machine's time.
 * SysTick counts the board's 25 MHz, so one count is 40 instructions. The stack is filled with a pattern before a call;
 * what the call overwrote is what it used. An instruction is not a cycle: loads, branches and divisions take more. */
#include "../conformance/signals.h"
#include "static_memory.h"

#include <stdint.h>
#include <string.h>
#include <talvcodec.h>

#define SYST_CSR (*(volatile uint32_t *)0xe000e010u)
#define SYST_RVR (*(volatile uint32_t *)0xe000e014u)
#define SYST_CVR (*(volatile uint32_t *)0xe000e018u)
#define INSTRUCTIONS_A_TICK 40u

extern uint32_t stack_bottom[];
#define PAINT 0xa5c3963cu

static uint32_t *paint_end;

/** Fill the stack below the caller, but for a little that this routine itself needs */
static __attribute__((noinline)) void paint(void)
{
    volatile uint32_t here;
    paint_end = (uint32_t *)&here - 16;
    for (volatile uint32_t *p = stack_bottom; p < paint_end; p++)
        *p = PAINT;
}

/** Bytes below the paint's end that were written since */
static __attribute__((noinline)) uint32_t stack_used(void)
{
    const uint32_t *p = stack_bottom;
    while (p < paint_end && *p == PAINT)
        p++;
    return (uint32_t)((const char *)paint_end - (const char *)p) + 16u * 4u;
}

struct cost {
    uint64_t sum;
    uint32_t calls, peak, stack;
};

static void add(struct cost *cost, uint32_t instructions, uint32_t stack)
{
    cost->sum += instructions;
    cost->calls++;
    if (instructions > cost->peak)
        cost->peak = instructions;
    if (stack > cost->stack)
        cost->stack = stack;
}

static void say_number(uint32_t value)
{
    char text[11];
    int i = 10;
    text[i] = 0;
    do {
        text[--i] = (char)('0' + value % 10u);
        value /= 10u;
    } while (value);
    say(text + i);
}

static void say_cost(const char *what, const struct cost *cost)
{
    say(what);
    say(": ");
    say_number((uint32_t)(cost->sum / cost->calls));
    say(" instructions a frame, at most ");
    say_number(cost->peak);
    say(", stack ");
    say_number(cost->stack);
    say(" bytes, ");
    say_number(cost->calls);
    say(" frames\n");
}

static const char *const chosen[] = {"speech_man", "speech_woman",  "voice",
                                     "noise_full", "frames_random", "frames_zero"};

int main(void)
{
    struct cost encode = {0, 0, 0, 0}, decode = {0, 0, 0, 0};
    SYST_RVR = 0xffffffu;
    SYST_CSR = 5; /* on, processor clock, no interrupt */
    for (int s = 0; s < stream_count; s++) {
        int take = 0;
        for (unsigned i = 0; i < sizeof chosen / sizeof *chosen; i++)
            take |= strcmp(chosen[i], streams[s].name) == 0;
        if (!take)
            continue;
        struct source source = start_source(&streams[s]);
        TALV_Codec *codec;
        if (TALV_CodecOpen(&codec) != TALV_OK)
            return 1;
        for (int t = 0; t < streams[s].frames; t++) {
            int16_t pcm[FRAME_SAMPLES];
            uint8_t frame[FRAME_BYTES];
            uint32_t bytes, start;
            if (streams[s].pcm) {
                streams[s].pcm(&source, t, pcm);
                paint();
                start = SYST_CVR;
                TALV_SpeechEncode(codec, pcm, frame, &bytes);
                add(&encode, ((start - SYST_CVR) & 0xffffffu) * INSTRUCTIONS_A_TICK, stack_used());
            } else {
                streams[s].frame(&source, t, frame);
            }
            paint();
            start = SYST_CVR;
            TALV_SpeechDecode(codec, frame, pcm, &bytes);
            add(&decode, ((start - SYST_CVR) & 0xffffffu) * INSTRUCTIONS_A_TICK, stack_used());
        }
        TALV_CodecClose(codec);
    }
    say_cost("encode", &encode);
    say_cost("decode", &decode);
    say("instance: ");
    say_number((uint32_t)static_memory_used);
    say(" bytes\n");
    return 0;
}

#include "codec/dispatch.h"

#include "decoder/decoder.h"
#include "encoder/encoder.h"

#ifdef TALV_WITH_AVX2
#if __has_include(<sys/platform/x86.h>)
#include <sys/platform/x86.h> /* glibc 2.33: what the C library found out when the process started */
#else
#include <cpuid.h>
#endif

namespace talv::avx2
{
void encoder_analyse(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept;
void decoder_synthesise(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept;
} // namespace talv::avx2
#endif

namespace talv
{

const FrameRoutines baseline_routines = {baseline::encoder_analyse, baseline::decoder_synthesise};

#ifdef TALV_WITH_AVX2

const FrameRoutines avx2_routines = {avx2::encoder_analyse, avx2::decoder_synthesise};

namespace
{

#if __has_include(<sys/platform/x86.h>)

bool has_avx2_and_fma() noexcept
{
    return CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(FMA);
}

#else

/** Asked of the processor; XCR0 bits 1 and 2 say that the operating system keeps the wide registers */
bool has_avx2_and_fma() noexcept
{
    constexpr unsigned FMA_BIT = 1u << 12, OSXSAVE_BIT = 1u << 27, AVX2_BIT = 1u << 5, XMM_AND_YMM = 6u;
    unsigned a, b, c, d;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & FMA_BIT) == 0 || (c & OSXSAVE_BIT) == 0)
        return false;
    unsigned low, high;
    __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    if ((low & XMM_AND_YMM) != XMM_AND_YMM)
        return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & AVX2_BIT) != 0;
}

#endif

} // namespace

const FrameRoutines *choose_routines() noexcept
{
    return has_avx2_and_fma() ? &avx2_routines : &baseline_routines;
}

#else

const FrameRoutines *choose_routines() noexcept
{
    return &baseline_routines;
}

#endif

} // namespace talv

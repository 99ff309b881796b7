/* Stands in for codec/dispatch.cpp: the copy of the blocks that the build names (TALV_FORCED_COPY), always */
#include "codec/dispatch.h"

#include <cstdio>
#include <cstdlib>

namespace talv
{

namespace baseline
{
void encoder_analyse(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept;
void decoder_synthesise(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept;
constexpr bool processor_can_run()
{
    return true;
}
} // namespace baseline

#if defined(__x86_64__)
namespace avx2
{
void encoder_analyse(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept;
void decoder_synthesise(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept;
bool processor_can_run()
{
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}
} // namespace avx2
#endif

const FrameRoutines *choose_routines() noexcept
{
    constexpr int SKIPPED = 77;
    static constexpr FrameRoutines forced = {TALV_FORCED_COPY::encoder_analyse, TALV_FORCED_COPY::decoder_synthesise};
    if (!TALV_FORCED_COPY::processor_can_run()) {
        std::puts("this processor cannot run it");
        std::exit(SKIPPED);
    }
    return &forced;
}

} // namespace talv

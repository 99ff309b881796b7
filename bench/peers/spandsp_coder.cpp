#include "coder.h"

#include <cinttypes>
#include <cstdlib>

#include <spandsp/telephony.h>

#include <spandsp/gsm0610.h>
#include <spandsp/lpc10.h>

namespace talv::bench
{

namespace
{

constexpr int LPC10_FRAME = LPC10_SAMPLES_PER_FRAME, LPC10_BYTES = (LPC10_BITS_IN_COMPRESSED_FRAME + 7) / 8;
constexpr int GSM_FRAME = 160, GSM_PACKING = GSM0610_PACKING_VOIP;

Coder lpc10()
{
    return {"LPC-10", LPC10_FRAME,
            [] {
                return [state = owned(lpc10_encode_init(nullptr, 1), lpc10_encode_free, "LPC-10")](int16_t *pcm,
                                                                                                   uint8_t *frame) {
                    return static_cast<size_t>(lpc10_encode(state.get(), frame, pcm, LPC10_FRAME));
                };
            },
            [] {
                return
                    [state = owned(lpc10_decode_init(nullptr, 1), lpc10_decode_free, "LPC-10")](
                        uint8_t *frame, size_t, int16_t *pcm) { lpc10_decode(state.get(), pcm, frame, LPC10_BYTES); };
            }};
}

Coder gsm0610()
{
    const auto open = [] { return owned(gsm0610_init(nullptr, GSM_PACKING), gsm0610_free, "GSM 06.10"); };
    return {"GSM 06.10 (spandsp)", GSM_FRAME,
            [open] {
                return [state = open()](int16_t *pcm, uint8_t *frame) {
                    return static_cast<size_t>(gsm0610_encode(state.get(), frame, pcm, GSM_FRAME));
                };
            },
            [open] {
                return [state = open()](uint8_t *frame, size_t nbytes, int16_t *pcm) {
                    gsm0610_decode(state.get(), pcm, frame, static_cast<int>(nbytes));
                };
            }};
}

} // namespace

std::vector<Coder> spandsp_coders()
{
    return {lpc10(), gsm0610()};
}

} // namespace talv::bench

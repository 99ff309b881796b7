/** Gain analysis */
#ifndef TALV_ENCODER_GAIN_H
#define TALV_ENCODER_GAIN_H

#include "dsp/constants.h"
#include "dsp/simd_chain.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

/** Sums of squares of windows, QUARTERS of them side by side, that are under way
 *  They are rounded to float at every term, nearly at first, and can be taken beside another chain (dsp/simd_chain.h). */
struct SquareSums {
    const float *next = nullptr, *end = nullptr; /* of the first window: the next sample, and what follows the last */
    int step = 0;                                /* from one window to the next                                     */
    int n = 0;                                   /* samples of a window                                             */
    Wide4 sum = {};
    Ties ties;

    /** The next LANES terms of each, if there are as many */
    TALV_INLINE void add_some() noexcept
    {
        if (end - next < LANES)
            return;
        Float4 block[LANES] = {load4(next), load4(next + step), load4(next + 2 * step), load4(next + 3 * step)};
        transpose(block);
        TALV_UNROLL
        for (int t = 0; t < LANES; t++)
            sum = nearly_rounded(add_exact(sum, widened(block[t]), widened(block[t])), &ties);
        next += LANES;
    }
};

/** The sums of which subframe_rms() with these arguments takes the roots, none of them begun */
SquareSums begin_square_sums(const float *signal, int length, int P) noexcept;

/** Square roots of the RMS of windows that end with each segment
 *  signal    I  [length/segments - L .. length-1]   the windows reach into the past
 *  length    I
 *  P         I                pitch lag; a window is L samples long, the smallest multiple of P that is not below a
 *                             segment (at most 160 for lags 20..160)
 *  segments  I                always QUARTERS
 *  out       O  [segments]    fourth roots of the mean square: an RMS of 100 gives 10                            */
void subframe_rms(const float *signal, int length, int P, int segments, float *out) noexcept;

/** The same from sums that are begun */
void subframe_rms(const SquareSums &begun, float *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

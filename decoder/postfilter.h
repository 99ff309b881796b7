/** Post-filter: sharpens the spectral envelope of the synthesised speech
 *
 *  Source: Chen and Gersho, "Adaptive Postfiltering for Quality Enhancement of Coded Speech", IEEE Trans. Speech Audio
 *          Proc. 3, 1995.
 */
#ifndef TALV_DECODER_POSTFILTER_H
#define TALV_DECODER_POSTFILTER_H

#include "dsp/constants.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

extern const float pf_zero_weight[LPC_ORDER]; /* powers of 0.6: bandwidth of the zeros */
extern const float pf_pole_weight[LPC_ORDER]; /* powers of 0.9: bandwidth of the poles */

inline constexpr int PF_TAPS = LPC_ORDER + 2; /* of the zeros: z^0 .. z^-11 */

/** The filter of a subframe, (zero[0] + zero[1] z^-1 + ..) / (1 + pole[0] z^-1 + ..) */
struct PostfilterTaps {
    float zero[PF_TAPS]; /* A(z/0.6) T(z)                      */
    float pole[PF_TAPS]; /* A(z/0.9) without its leading 1; the last two are 0 */
};

/** Filters of up to four subframes from their LPC vectors
 *  lpc    I  [count][LPC_ORDER]
 *  count  I                     1 to 4
 *  taps   O  [count]            weighted with pf_zero_weight and pf_pole_weight, the tilt folded in                */
void postfilter_design(const float *lpc, int count, PostfilterTaps *taps) noexcept;

/** Filter samples
 *  in     I  [-11 .. count-1]   and what fills up the last group of four, which no result depends on
 *  out    IO [-10 .. count-1]   earlier output read, count samples and what fills up the last group of four written.
 *                               The filter has no other memory.                                                   */
void postfilter_run(const PostfilterTaps *taps, int count, const float *in, float *out) noexcept;

/** Both for given coefficients: A(z/0.6) T(z) / A(z/0.9), T(z) = t0 + t1 z^-1 making the gain 1 at 0 Hz and 0.5 at
 *  4000 Hz
 *  order  I                  always LPC_ORDER
 *  num    IO [order+1]       coefficients of z^-1 .. z^-10 of the zeros in; rewritten with the tilt folded in
 *  den    I  [order]         coefficients of z^-1 .. z^-10 of the poles
 *  count  I
 *  in, out                   as for postfilter_run()                                                              */
void postfilter(int order, float *num, const float *den, int count, const float *in, float *out) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

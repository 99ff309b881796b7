/** Input conditioning: from PCM to the signal that the analysis works on */
#ifndef TALV_ENCODER_CONDITIONING_H
#define TALV_ENCODER_CONDITIONING_H

#include "dsp/constants.h"
#include "dsp/table.h"
#include "dsp/target.h"
#include "encoder/autocorr.h"

#include <cstdint>

namespace talv::inline TALV_TABLES
{

/* Tiny positive values, 1.59e-8 to 3.024e-7 with a PCM step being 1.0, added to signals and filter memory so that
 * digital silence neither decays into subnormal floats, which are slow, nor becomes exact zeros. Derived from
 * as_codebook at compile time.                                                                                    */
extern const Table<float, FRAME_LEN> floor_noise;

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

inline constexpr int PREFILTER_TERMS = 5;

extern const float prefilter_num[PREFILTER_TERMS];
extern const float prefilter_den[PREFILTER_TERMS];

/** Fourth-order high-pass, direct form II: -3 dB at 66 Hz, within 0.05 dB of unity from 150 Hz on
 *  den, num  I  [5]      prefilter_den, prefilter_num; den[0] is 1, so that nothing is divided by it
 *  pcm       I  [n]      every value is accepted
 *  out       O  [n]      scale of the PCM, not clipped; floor_noise added
 *  state     IO [5]      a work cell, then w[n-1] .. w[n-4]; below 5.7e9 at full scale
 *  n         I           at most FRAME_LEN, a multiple of 4
 *  beside    IO          an autocorrelation to go on with meanwhile, as far as its samples are known; or null       */
void iir_prefilter(const float *den, const float *num, const int16_t *pcm, float *out, float *state, int n,
                   Autocorr *beside = nullptr) noexcept;

/** Subtract a running mean that goes in a straight line from the previous block's mean towards this block's
 *  mean      IO          mean of the previous block in, of this block out
 *  x         IO [n]
 *  beside    IO           an autocorrelation that takes in the samples it still misses from the start of x, and goes on
 *                         while the others are worked out; or null                                                 */
void dc_tracker(int n, float *mean, float *x, Autocorr *beside = nullptr) noexcept;

/** LPC residual: out[i] = x[i] + sum a[j] x[i-1-j]
 *  order     I           always LPC_ORDER: the ten taps are fixed
 *  x         I  [-10 .. n-1]
 *  n         I           at most FRAME_LEN
 *  a         I  [LPC_ORDER]   without the leading 1
 *  out       O  [n]      must not overlap x                                                                        */
void lpc_residual(int order, int n, const float *x, const float *a, float *out) noexcept;

/** x[i] += floor_noise[i], i < n <= FRAME_LEN */
void add_floor_noise(int n, float *x) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

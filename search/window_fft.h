/** Power spectra of four windows side by side */
#ifndef TALV_SEARCH_WINDOW_FFT_H
#define TALV_SEARCH_WINDOW_FFT_H

#include "dsp/simd_float.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int SPECTRUM_POINTS = 256;               /* points of the transform: bins are 31.25 Hz apart */
inline constexpr int SPECTRUM_BINS = SPECTRUM_POINTS / 2; /* bins 0 to 127; the one at 4000 Hz is not wanted  */

/** Power of each bin
 *  x      IO [SPECTRUM_POINTS]   element n holds sample n of four windows, one a lane; overwritten
 *  power  O  [SPECTRUM_BINS]     |X[k]|^2
 *  A real transform by way of a complex one of half the length: Cooley and Tukey, Math. Comp. 19, 1965. Radix 4,
 *  decimation in frequency.                                                                                        */
void power_spectra(Float4 *x, Float4 *power) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

/** Short lists of what a frame's fields may say: the nearest entries of each quantiser, best first
 *
 *  Of equal distances the lower index comes first, so that a list is the same on every machine.
 */
#ifndef TALV_SEARCH_SHORTLIST_H
#define TALV_SEARCH_SHORTLIST_H

#include "dsp/constants.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int LSF_LIST_MAX = 16;
inline constexpr int GAIN_LIST_MAX = 32;
inline constexpr int ROW_LIST_MAX = 32;

/** LSF index vectors whose envelopes are the nearest
 *  lsf    I  [LPC_ORDER]   radians, ascending
 *  count  I                at most LSF_LIST_MAX
 *  index  O  [count][LPC_ORDER]
 *  An M-best search of the differential quantiser, its survivors ordered by spectral distance: the mean over mel-spaced
 *  frequencies of r + 1/r - 2, r being the ratio of the power spectra (Gray and Markel, "Distance Measures for Speech
 *  Processing", IEEE Trans. ASSP 24, 1976: the cosh measure).                                                       */
void lsf_short_list(const float *lsf, int count, int32_t (*index)[LPC_ORDER]) noexcept;

/** Move element k of an LSF index vector by a step and code the later ones anew, so that they stay where they were
 *  index  IO [LPC_ORDER]
 *  step   I                -1 or 1
 *  return                  false, and index as it was, at the end of the list                                       */
bool lsf_step(int32_t *index, int k, int step) noexcept;

/** Gain index pairs whose sums are the nearest to a target
 *  target I  [QUARTERS]
 *  count  I                at most GAIN_LIST_MAX
 *  index  O  [count][2]                                                                                             */
void gain_short_list(const float *target, int count, int32_t (*index)[2]) noexcept;

/** Rows of a codebook that are the nearest to a target
 *  table  I  [rows][dim]   at most 128 rows
 *  count  I                at most ROW_LIST_MAX
 *  index  O  [count]                                                                                                */
void row_short_list(const float *target, int dim, int rows, const float *table, int count, int32_t *index) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

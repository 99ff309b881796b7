/** Allowance for drift: a segment may take its correlation from a somewhat longer lag
 *
 *  At each lag a segment's correlation is replaced by the largest among the lags from this one to lag/5 - 1 above it,
 *  so far as they were searched. Entries compare in float_order.
 */
#ifndef TALV_ENCODER_DRIFT_H
#define TALV_ENCODER_DRIFT_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int DRIFT_RUN_NONE = 100; /* larger than any reach: forces a full look */

/** How many longer lags a segment may borrow from: lag/5 - 1, and never beyond lag_hi */
int drift_reach(int lag, int lag_hi) noexcept;

/** The largest entry within reach, for every lag of a column
 *  column   I  [lag_hi - lag_lo + 1]   biased correlations by lag - lag_lo
 *  lag_lo, lag_hi  I                   within LAG_MIN..LAG_MAX
 *  largest  O  [lag_hi - lag_lo + 1]   may be column                                                               */
void drift_maxima(const float *column, int lag_lo, int lag_hi, float *largest) noexcept;

/** How much longer the lag is that a segment borrows from, 0..reach
 *  lag      I                          lag_lo..lag_hi
 *  Of equal entries the lag itself comes first. Among longer ones that are equal it is the one that a search from
 *  lag_hi downwards holds on to: it keeps its winner while that stays in reach, and looks again from the far end when
 *  it has left. */
int drift_offset(const float *column, int lag_lo, int lag_hi, int lag) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

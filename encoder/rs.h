/** Periodicity (RS) analysis: how little of a block is periodic, at two moments a frame
 *
 *  Each value is 1 - r^2, r being the normalised correlation at the best lag around the newest raw pitch: 0 is strongly
 *  periodic, 1 means that no periodicity was found. The lag selection is that of pitch_search.
 */
#ifndef TALV_ENCODER_RS_H
#define TALV_ENCODER_RS_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "encoder/pitch.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int RS_WINDOW_LEAD = 120; /* the first window starts this far before the second    */
inline constexpr int RS_COLUMNS = 3;       /* of a window                                           */
inline constexpr int RS_COLUMN_LEN = 80;   /* samples                                               */
inline constexpr int RS_MAX_LAGS = 111;    /* lags 50 to 160, the widest range                      */

extern const float rs_taps[RS_ORDER + 1]; /* centre first; gain 1.0166 at 0 Hz, -3 dB at 970 Hz      */

/** Search range around a raw pitch lag: half of it to 1.6 times it, within LAG_MIN..LAG_MAX
 *  raw_lag  I     LAG_MIN..LAG_MAX
 *  lag_lo, lag_hi  O    lag_lo <= lag_hi, at most 111 lags                                                      */
void rs_lag_range(int32_t raw_lag, int32_t *lag_lo, int32_t *lag_hi) noexcept;

/** Periodicity values of two windows of FRAME_LEN samples
 *  y        I  [-120 - lag_hi .. 239]   low-passed residual; y[0] is the first sample of the newest block
 *  rs       O  [2]                      1 - r^2, 0..1: of y[-120..120) and of y[0..240)
 *  A window's three columns are each correlated in halves, of which each is rounded to float and then their sum; the
 *  sum of the columns stays wide.                                                                                   */
void rs_values(const float *y, int lag_lo, int lag_hi, float *rs) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

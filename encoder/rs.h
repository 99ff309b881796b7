/** Periodicity (RS) analysis: how little of a block is periodic, at two moments a frame
 *
 *  Each value is 1 - r^2, r being the normalised correlation at the best lag around the newest raw pitch: 0 is strongly
 *  periodic, 1 means that no periodicity was found. The lag selection is that of pitch_search. Correlations are worked
 *  out once, on 40-sample pieces, and serve both windows.
 */
#ifndef TALV_ENCODER_RS_H
#define TALV_ENCODER_RS_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "encoder/pitch.h"

#include <cstdint>

namespace talv::inline TALV_TARGET
{

inline constexpr int RS_PIECES = 9;          /* pieces that tile y[-120..240)                     */
inline constexpr int RS_PIECE_LEN = 40;      /* samples                                           */
inline constexpr int RS_PIECES_A_WINDOW = 6; /* each window's columns are three pairs of pieces   */
inline constexpr int RS_COLUMNS = RS_PIECES_A_WINDOW / 2;
inline constexpr int RS_WINDOW_STEP = 3;         /* pieces from the first window's first to the second's */
inline constexpr int RS_MAX_LAGS = 112;          /* lags 50 to 160, the widest range, are 111         */
inline constexpr float RS_PIECE_BIAS = 50000.0f; /* two pieces carry the bias of pitch_search         */

extern const float rs_taps[RS_ORDER + 1]; /* centre first; gain 1.0166 at 0 Hz, -3 dB at 970 Hz      */

/** Biased correlations by lag - lag_lo: of the nine pieces, and of the three pairs of a window */
struct PieceTable {
    float column[RS_PIECES][RS_MAX_LAGS];
};
struct PairTable {
    float column[RS_COLUMNS][RS_MAX_LAGS];
};

/** Search range around a raw pitch lag: half of it to 1.6 times it, within LAG_MIN..LAG_MAX
 *  raw_lag  I     LAG_MIN..LAG_MAX
 *  lag_lo, lag_hi  O    lag_lo <= lag_hi, at most 111 lags                                                      */
void rs_lag_range(int32_t raw_lag, int32_t *lag_lo, int32_t *lag_hi) noexcept;

/** Fill the piece table
 *  y        I  [-120 - lag_hi .. 239]   low-passed residual; y[0] is the first sample of the newest block
 *  pieces   O                                                                                                   */
void rs_correlate(const float *y, int lag_lo, int lag_hi, PieceTable *pieces) noexcept;

/** Add pieces in pairs: the columns of 80 samples of one window
 *  first    I     first piece of the window: 0 or RS_WINDOW_STEP
 *  pairs    O                                                                                                   */
void rs_pair_pieces(const PieceTable *pieces, int first, int lag_lo, int lag_hi, PairTable *pairs) noexcept;

/** Periodicity value of one window
 *  nseg     I     always RS_COLUMNS
 *  n        I     always FRAME_LEN
 *  x        I  [-lag_hi .. n-1]   the window
 *  rs       O     1 - r^2, 0..1
 *  table    I     the pair table of the window                                                                  */
void rs_search(int nseg, int n, int lag_lo, int lag_hi, const float *x, float *rs, const PairTable *table) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

/** Periodicity (RS) analysis: how little of a block is periodic, at two moments a frame
 *
 *  Each value is 1 - r^2, r being the normalised correlation at the best lag around the newest raw pitch: 0 is strongly
 *  periodic, 1 means that no periodicity was found. The lag selection is that of pitch_search. Correlations are worked
 *  out once, on 40-sample pieces, and serve both windows.
 */
#ifndef TALV_ENCODER_RS_H
#define TALV_ENCODER_RS_H

#include "dsp/constants.h"
#include "encoder/pitch.h"

#include <cstdint>

namespace talv
{

inline constexpr int RS_ORDER = 2;               /* half-length of this branch's low-pass: 5 taps            */
inline constexpr int RS_PIECES = 9;              /* pieces that tile y[-120..240)                            */
inline constexpr int RS_PIECE_LEN = 40;          /* samples                                                  */
inline constexpr int RS_MAX_LAGS = 140;          /* room of the piece table; at most 111 are used            */
inline constexpr float RS_PIECE_BIAS = 50000.0f; /* two pieces carry the bias of pitch_search                */

extern const float rs_taps[RS_ORDER + 1]; /* centre first; gain 1.0166 at 0 Hz, -3 dB at 970 Hz       */

/** Biased correlations of the nine pieces: column s, entry lag - lag_lo */
struct PieceTable {
    float column[RS_PIECES][RS_MAX_LAGS];
};

/** Search range around a raw pitch lag: half of it to 1.6 times it, within LAG_MIN..LAG_MAX
 *  raw_lag  I     LAG_MIN..LAG_MAX
 *  lag_lo, lag_hi  O    lag_lo <= lag_hi, at most 111 lags                                                      */
void rs_lag_range(int32_t raw_lag, int32_t *lag_lo, int32_t *lag_hi) noexcept;

/** Fill the piece table
 *  y        I  [-120 - lag_hi .. 239]   low-passed residual; y[0] is the first sample of the newest block
 *  pieces   O                                                                                                   */
void rs_correlate(const float *y, int lag_lo, int lag_hi, PieceTable *pieces) noexcept;

/** Add pieces in pairs: columns of 80 samples for one window
 *  first    I     first piece of the window: 0 or 3
 *  pairs    O     rows 160 - (lag_hi - lag), so that row 160 is lag_hi                                          */
void rs_pair_pieces(const PieceTable *pieces, int first, int lag_lo, int lag_hi, CorrelationTable *pairs) noexcept;

/** Periodicity value of one window
 *  nseg     I     always 3
 *  n        I     always 240
 *  x        I  [-lag_hi .. n-1]   the window
 *  rs       O     1 - r^2, 0..1
 *  table    I     the pair table of the window                                                                  */
void rs_search(int nseg, int n, int lag_lo, int lag_hi, const float *x, float *rs,
               const CorrelationTable *table) noexcept;

} // namespace talv

#endif

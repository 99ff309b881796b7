/** Search for the lag of a block: what pitch_search and rs_values have in common
 *
 *  A block's columns, three stretches of it, are correlated with the signal `lag` samples before. Each column may take
 *  its correlation from a somewhat longer lag (encoder/drift.h); the lag of the highest score wins
 *  (encoder/lag_score.h).
 *
 *  First everything is estimated in floats. The estimates' error is bounded, so that they tell which lags can win at
 *  all, three of a hundred on average, and those alone are worked out as they are defined. Where too many are left, all
 *  of them are.
 */
#ifndef TALV_ENCODER_LAG_SEARCH_H
#define TALV_ENCODER_LAG_SEARCH_H

#include "dsp/constants.h"
#include "dsp/target.h"
#include "dsp/wide.h"
#include "encoder/lag_score.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int MAX_SEGMENTS = 3;            /* columns of a block, whose correlations may drift    */
inline constexpr float CORR_BIAS = 100000.0f;     /* keeps ordinary segment correlations positive        */
inline constexpr float CORR_BIAS_SUM = 300000.0f; /* the bias of three segments                          */

/** A block, and how its correlations are rounded */
struct LagBlock {
    const float *x;     /* [-lag_hi .. n-1]                                                                         */
    int n;              /* block length, at most FRAME_LEN                                                          */
    int lag_lo, lag_hi; /* within LAG_MIN..LAG_MAX                                                                  */
    int columns;        /* at most MAX_SEGMENTS                                                                     */
    int column_len;     /* samples                                                                                  */
    int pieces;         /* 1: a column's correlation is CORR_BIAS and its products, rounded once. 2: that of each half,
                           with half the bias, is rounded, and so is their sum.                                     */
    bool wide_sum;      /* whether the sum of the columns is rounded only when the bias has been taken from it      */
};

/** What a search finds */
struct LagChoice {
    int lag;    /* of equal scores the shortest             */
    int offset; /* how much longer the lag is that the last column borrows from */
    wide_t q;   /* squared correlation over the energy of the past; 0 without energy */
    float E;    /* the block's own energy */
};

inline constexpr int ESTIMATES_MAX = (LAG_MAX - LAG_MIN + 8) / 8 * 8; /* estimates of a column, for all lags         */
inline constexpr int LONGER_LAGS = LAG_MAX / 5;                       /* lags that a column may choose from, at most */

/** Estimates of a block's correlations without their bias, by lag_hi - lag, as estimate_lags() gives them */
struct LagEstimates {
    const float *column[MAX_SEGMENTS]; /* [-LONGER_LAGS .. lag_hi - lag_lo], those before 0 by no_longer_lags() */
    float magnitude;                   /* a bound on what the products of a column add up to, signs apart, at any lag */
    float error;                       /* by how many 2^-24 of that the estimates may be off                          */
};

/* Where nothing is wider than a float, estimates are as good as what they are to spare. */
inline constexpr bool LAGS_ARE_ESTIMATED = sizeof(wide_t) > sizeof(float);

/** Estimates of lags beyond lag_hi, in front of a column's: less than any other
 *  near  O  [-LONGER_LAGS .. -1]                                                                                     */
void no_longer_lags(float *near) noexcept;

/** A bound on the sum of |x[i] x[i - lag]| over any stretch and at any lag within x[0..n), n at most 1000: since
 *  2 |x y| <= x^2 + y^2, the energy, and a thousandth more for how it is rounded                                    */
float magnitude_bound(const float *x, int n) noexcept;

/** Search by estimates, then exactly where they leave a doubt
 *  return   false where too much is left open: search_lag_fully() has to do it then                                  */
bool search_lag(const LagBlock &block, const LagEstimates &estimates, LagChoice *choice) noexcept;

/** The same result from all correlations as they are defined */
void search_lag_fully(const LagBlock &block, LagChoice *choice) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

/** Where the roots of the sum and difference polynomials lie, nearly, and where cheb_eval() is sure of its sign
 *
 *  The walk of encoder/lsf_roots.h is a chain: each of its points, and each root, hangs on the one before. Here all roots
 *  are found at once, to a few parts in a million, so that the walk knows where it leads to and looks at the series only
 *  there.
 */
#ifndef TALV_ENCODER_NEAR_ROOTS_H
#define TALV_ENCODER_NEAR_ROOTS_H

#include "dsp/constants.h"
#include "dsp/simd_chain.h"
#include "dsp/table.h"
#include "dsp/target.h"
#include "dsp/trig.h"
#include "dsp/wide.h"
#include "encoder/autocorr.h"

namespace talv::inline TALV_TABLES
{

inline constexpr int ROOT_GRID = 64;
extern const Table<float, ROOT_GRID> root_grid; /* cos(pi i / 63), rounded to float */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

inline constexpr int TERMS_MAX = ORDER_MAX / 2 + 1;   /* coefficients of a deflated sum or difference polynomial */
inline constexpr int TERMS_CODEC = LPC_ORDER / 2 + 1; /* the same for the codec's order                          */

/** A deflated polynomial */
struct Series {
    float c[TERMS_MAX];  /* Chebyshev coefficients */
    wide_t w[TERMS_MAX]; /* the same, widened      */
    int terms;
};

/* The walk along x = cos(w) goes down by x x STEP_BEND + STEP_BASE: 0.0314 at x = 0 and 0.00197 at the ends, which are
 * steps of 0.015 to 0.06 radian in w. */
inline constexpr double STEP_DELTA = 0.03141592654;
inline constexpr float STEP_BASE = rounded(sin_wide(STEP_DELTA));
inline constexpr float STEP_BEND = rounded(4.0 - 4.0 * cos_wide(STEP_DELTA) - static_cast<double>(STEP_BASE));
inline constexpr int BISECTIONS = 4;
inline constexpr int LEAVES = 1 << BISECTIONS; /* parts of a step, of which the bisection chooses one */

/** What is known of the roots of both polynomials, each from the highest downwards, in rows of eight of which five hold
 *  something. Where x lies in none of the stretches from `low` to `high`, cheb_eval(x) is above or below 0 as the number
 *  of its polynomial's stretches above x is even or odd.                                                             */
struct NearRoots {
    static constexpr int PER_SERIES = LPC_ORDER / 2;
    static constexpr int ROW = 8;
    float at[2][ROW];             /* nearly the root                                                 */
    float high[2][ROW];           /* one more: what is above that is not below -1                    */
    float low_before[2][1 + ROW]; /* begins with one more, above all                                 */
    float last_step[2][ROW];      /* from here a single step leads to the root                       */
    float leaves[2][ROW];         /* in a unit of length, the root being in the middle of the step   */
};

#ifdef TALV_SIMD_PLAIN /* where nothing runs side by side the plain walk is the quickest */
inline bool find_near_roots(const Series *, NearRoots *) noexcept
{
    return false;
}
#else
/** Find all roots of two series of the codec's order
 *  series  I  [2]
 *  return     whether there are so many roots within -1..1, and all of them are well apart                           */
bool find_near_roots(const Series *series, NearRoots *near) noexcept;
#endif

} // namespace talv::inline TALV_TARGET

#endif

#include "dsp/correlate.h"

#include "dsp/simd_estimate.h"
#include "dsp/twofold.h"
#include "dsp/wide.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

namespace
{

/* Groups of LANES lags at once, a register or a pair of sums each: these sums are rarely asked for. */
constexpr int GROUPS = 4;

/* Registers of sums of the estimates, and samples that share what is loaded of the past: all sixteen registers are in
 * use then, and nine sums hide the latency of an addition. */
constexpr int ESTIMATE_GROUPS = 9;
constexpr int SHARED = 5;

/** The sums of groups * LANES lags downwards from lag_hi; the lags below lag_lo are dropped */
template <int groups>
void correlate_groups(const float *x, int n, int lag_lo, int lag_hi, wide_t bias, float *out) noexcept
{
    Wide4 sum[groups];
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        sum[g] = broadcast(bias);
    for (int i = 0; i < n; i++) {
        const Wide4 now = broadcast(wide(x[i]));
        TALV_UNROLL
        for (int g = 0; g < groups; g++)
            sum[g] = add_exact(sum[g], now, load_wide(x + i - lag_hi + LANES * g));
    }
    out += lag_hi - lag_lo + 1; /* the lanes lie in order of time: the longest lag first */
    TALV_UNROLL
    for (int g = 0; g < groups - 1; g++)
        store_rounded_reversed(out - LANES * (g + 1), sum[g]);
    const int left = std::min(LANES, lag_hi - lag_lo + 1 - LANES * (groups - 1));
    float last[LANES];
    store_rounded(last, sum[groups - 1]);
    for (int l = 0; l < left; l++)
        out[-LANES * (groups - 1) - 1 - l] = last[l];
}

/** correlate_groups for a number of groups known at run time, at most `groups` */
template <int groups>
void correlate_up_to(int wanted, const float *x, int n, int lag_lo, int lag_hi, wide_t bias, float *out) noexcept
{
    if constexpr (groups > 1) {
        if (wanted < groups) {
            correlate_up_to<groups - 1>(wanted, x, n, lag_lo, lag_hi, bias, out);
            return;
        }
    }
    correlate_groups<groups>(x, n, lag_lo, lag_hi, bias, out);
}

/** SHARED terms of each of a number of sums. Samples a register apart meet the same stretches of the past: each stretch is
 *  loaded once for SHARED of them.
 *  now   I   those samples
 *  past  I   what the first of them meets in the first sum                                                          */
template <int groups>
TALV_INLINE void add_shared(const Floats (&now)[SHARED], const float *past, Floats *sum) noexcept
{
    TALV_UNROLL
    for (int m = 0; m < groups + SHARED - 1; m++) {
        const Floats then = load_floats(past + FLOATS * m);
        TALV_UNROLL
        for (int b = 0; b < SHARED; b++)
            if (m - b >= 0 && m - b < groups)
                sum[m - b] = add_product(sum[m - b], now[b], then);
    }
}

/** The estimates of groups * FLOATS lags downwards from lag_hi */
template <int groups>
void estimate_groups(const float *x, int n, int lag_hi, const float *start, float *near) noexcept
{
    Floats sum[groups];
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        sum[g] = start == nullptr ? floats(0.0f) : load_floats(start + FLOATS * g);
    for (int from = 0; from < n; from += SHARED * FLOATS)
        for (int i = from; i < from + FLOATS; i++) {
            Floats now[SHARED];
            TALV_UNROLL
            for (int b = 0; b < SHARED; b++)
                now[b] = floats(x[i + FLOATS * b]);
            add_shared<groups>(now, x - lag_hi + i, sum);
        }
    TALV_UNROLL
    for (int g = 0; g < groups; g++)
        store(near + FLOATS * g, sum[g]);
}

/** estimate_groups for a number of groups known at run time, at most `groups` */
template <int groups>
void estimate_up_to(int wanted, const float *x, int n, int lag_hi, const float *start, float *near) noexcept
{
    if constexpr (groups > 1) {
        if (wanted < groups) {
            estimate_up_to<groups - 1>(wanted, x, n, lag_hi, start, near);
            return;
        }
    }
    estimate_groups<groups>(x, n, lag_hi, start, near);
}

/* Lags that are HALF apart meet the same past in the halves a and b of the samples: p, q and r being neighbouring
 * stretches of the past, the sums a p + b q and a q + b r are (a + b) q + a (p - q) and (a + b) q - b (q - r), three
 * products instead of four (Winograd, Arithmetic Complexity of Computations, 1980).
 * Since 2 |x y| <= x^2 + y^2, the terms of each product add up to less than 3/2 of the energy of all samples, signs
 * apart. So the error is below 2^-24 of that energy times 40 (3/2 + 3) for the products and 4 for all other sums.    */
constexpr int HALF = SPLIT_LEN / 2;
constexpr int APART = 2 * HALF; /* between the two stretches of lags that are worked on together */
constexpr int LAST = 24;        /* lags of the fourth stretch                                    */
static_assert(3 * HALF + LAST == SPLIT_LAGS);
static_assert(HALF % (SHARED * FLOATS) == 0);
static_assert(SPLIT_ERROR >= static_cast<float>(HALF) * 4.5f + 4.0f);

/** near[k] = start[k] + sum over i < HALF of x[i] past[i + k], for SHARED groups of places k from 0 on, and `others` groups
 *  from APART on: as many sums as hide the latency of an addition                                                    */
template <int others>
void estimate_two_stretches(const float *x, const float *past, const float *start, float *near) noexcept
{
    constexpr int SUMS = SHARED + others;
    constexpr auto place = [](int g) { return g < SHARED ? FLOATS * g : APART + FLOATS * (g - SHARED); };
    Floats sum[SUMS];
    TALV_UNROLL
    for (int g = 0; g < SUMS; g++)
        sum[g] = start == nullptr ? floats(0.0f) : load_floats(start + place(g));
    for (int from = 0; from < HALF; from += SHARED * FLOATS)
        for (int i = from; i < from + FLOATS; i++) {
            Floats now[SHARED];
            TALV_UNROLL
            for (int b = 0; b < SHARED; b++)
                now[b] = floats(x[i + FLOATS * b]);
            add_shared<SHARED>(now, past + i, sum);
            add_shared<others>(now, past + i + APART, sum + SHARED);
        }
    TALV_UNROLL
    for (int g = 0; g < SUMS; g++)
        store(near + place(g), sum[g]);
}

/** The same for HALF places from 0 on, and for `others` from APART on */
template <int others>
TALV_INLINE void estimate_half(const float *x, const float *past, const float *start, float *near) noexcept
{
    constexpr int DONE = SHARED * FLOATS;
    estimate_two_stretches<std::min(others / FLOATS, SHARED)>(x, past, start, near);
    if constexpr (DONE < HALF)
        estimate_two_stretches<others / FLOATS - SHARED>(x, past + DONE, start == nullptr ? start : start + DONE,
                                                         near + DONE);
}

} // namespace

void estimate_split_lags(const float *x, int lag_hi, float *near) noexcept
{
    const float *past = x - lag_hi;
    constexpr int DIFFERENCES = 4 * HALF + LAST;
    float both[HALF], difference[DIFFERENCES], common[APART + HALF];
    for (int i = 0; i < HALF; i += FLOATS)
        store(both + i, load_floats(x + i) + load_floats(x + HALF + i));
    for (int i = 0; i < DIFFERENCES; i += FLOATS)
        store(difference + i, load_floats(past + i) - load_floats(past + HALF + i));
    estimate_half<HALF>(both, past + HALF, nullptr, common);
    estimate_half<HALF>(x, difference, common, near);
    estimate_half<LAST>(x + HALF, difference + HALF, nullptr, near + HALF);
    for (int from = 0; from < SPLIT_LAGS - HALF; from += APART)
        for (int k = from; k < std::min(from + HALF, SPLIT_LAGS - HALF); k += FLOATS)
            store(near + HALF + k, load_floats(common + k) - load_floats(near + HALF + k));
}

void widen(const float *x, int n, wide_t *out) noexcept
{
    int i = 0;
    _Pragma("GCC unroll 4") for (; i + LANES <= n; i += LANES) store(out + i, load_wide(x + i));
    for (; i < n; i++)
        out[i] = wide(x[i]);
}

void correlate_lags(const float *x, int n, int lag_lo, int lag_hi, float bias, float *out) noexcept
{
    /* Passes of nearly equal size, so that none is left with too few sums to hide the latency */
    int groups = (lag_hi - lag_lo + LANES) / LANES;
    for (int passes = (groups + GROUPS - 1) / GROUPS; passes > 0; passes--) {
        const int now = (groups + passes - 1) / passes;
        correlate_up_to<GROUPS>(now, x, n, lag_lo, lag_hi, wide(bias), out);
        groups -= now;
        lag_hi -= now * LANES;
    }
}

void estimate_lags(const float *x, int n, int lag_lo, int lag_hi, const float *start, float *near) noexcept
{
    int groups = (lag_hi - lag_lo + FLOATS) / FLOATS;
    for (int passes = (groups + ESTIMATE_GROUPS - 1) / ESTIMATE_GROUPS; passes > 0; passes--) {
        const int now = (groups + passes - 1) / passes; /* passes of nearly equal size */
        estimate_up_to<ESTIMATE_GROUPS>(now, x, n, lag_hi, start, near);
        groups -= now;
        lag_hi -= now * FLOATS;
        near += now * FLOATS;
        start = start == nullptr ? nullptr : start + now * FLOATS;
    }
}

void add_estimates(const float *x, const float *y, int lag_lo, int lag_hi, float *near) noexcept
{
    for (int k = 0; k <= lag_hi - lag_lo; k += FLOATS)
        store(near + k, load_floats(x + k) + load_floats(y + k));
}

wide_t dot_product(const float *x, const float *y, int n) noexcept
{
    constexpr int PARTS = 5;
    Wide4 part[PARTS] = {};
    for (int i = 0; i < n; i += PARTS * LANES)
        TALV_UNROLL
    for (int p = 0; p < PARTS; p++)
        part[p] = add_exact(part[p], load_wide(x + i + LANES * p), load_wide(y + i + LANES * p));
    return sum_of_lanes((part[0] + part[1]) + (part[2] + part[3]) + part[4]);
}

float energy(const float *x, int n) noexcept
{
#ifdef TALV_FLOAT_ONLY
    Twofold all = {0.0f, 0.0f};
    for (int i = 0; i < n; i++)
        all = add_product(all, x[i], x[i]);
    return rounded(all);
#else
    Wide4 part[4] = {};
    int i = 0;
    for (; i + 4 * LANES <= n; i += 4 * LANES)
        TALV_UNROLL
    for (int p = 0; p < 4; p++) {
        const Wide4 v = load_wide(x + i + LANES * p);
        part[p] = add_exact(part[p], v, v);
    }
    wide_t sum = sum_of_lanes((part[0] + part[1]) + (part[2] + part[3]));
    for (; i < n; i++)
        sum = add_exact(sum, wide(x[i]), wide(x[i]));
    float nearest;
    if (rounds_alike(sum, sum * SUM_ORDER_ERROR, &nearest))
        return nearest;

    sum = wide(0);
    for (i = 0; i < n; i++)
        sum = add_exact(sum, wide(x[i]), wide(x[i]));
    return rounded(sum);
#endif
}

} // namespace talv::inline TALV_TARGET

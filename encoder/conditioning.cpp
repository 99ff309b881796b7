#include "encoder/conditioning.h"

#include "dsp/as_codebook.h"
#include "dsp/correlate.h"
#include "dsp/simd_chain.h"
#include "dsp/twofold.h"
#include "dsp/wide.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

/* To the full precision of a float: with poles at radius 0.9865 (63 Hz) and 0.9433 (49 Hz), next to z = 1, the response
 * at low frequencies hangs on the last digits. */
const float prefilter_num[PREFILTER_TERMS] = {0.9304327f, -3.721731f, 5.582596f, -3.721731f, 0.9304327f};
const float prefilter_den[PREFILTER_TERMS] = {1.0f, -3.855659f, 5.577605f, -3.587796f, 0.8658623f};

} // namespace talv::inline TALV_TARGET

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

namespace
{

/** Entry i is element i of as_codebook, rounded to three decimals, times 1e-7 */
constexpr Table<float, FRAME_LEN> make_floor_noise() noexcept
{
    Table<float, FRAME_LEN> table{};
    for (int i = 0; i < FRAME_LEN; i++) {
        const int32_t thousandths = static_cast<int32_t>(static_cast<double>(as_codebook[i]) * 1000.0 + 0.5);
        table.entry[i] = rounded(thousandths / 1e10);
    }
    return table;
}

} // namespace

constexpr Table<float, FRAME_LEN> floor_noise = make_floor_noise();

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int PAST = PREFILTER_TERMS - 1;

#ifdef TALV_FLOAT_ONLY

/** The filter. Next to z = 1 the sums are differences of numbers that are a thousand times as large: in float the filter
 *  would make noise of its own, which changed every tenth frame of speech.
 *  noise   I  [n]      to be added to the output
 *  past    IO [PAST]   w as the memory keeps it: rounded, the newest first                                           */
void run_filter(const float *den, const float *num, const int16_t *pcm, const float *noise, float *out, wide_t *past,
                int n, Autocorr *) noexcept
{
    for (int i = 0; i < n; i++) {
        Twofold w = {static_cast<float>(pcm[i]), 0.0f}, y = {0.0f, 0.0f};
        for (int k = PAST; k >= 1; k--) {
            w = add_product(w, past[k - 1], -den[k]);
            y = add_product(y, past[k - 1], num[k]);
        }
        std::copy_backward(past, past + PAST - 1, past + PAST);
        past[0] = rounded(w);
        y = add_product(y, w.high, num[0]); /* the present w unrounded */
        y.low += w.low * num[0];
        out[i] = rounded(y) + noise[i];
    }
}

#else

/** The filter as it is defined, for the few blocks that would round to other values
 *  noise   I  [n]      to be added to the output
 *  past    IO [PAST]   w as the memory keeps it: rounded, the newest first                                           */
[[gnu::cold]] void run_plainly(const float *den, const float *num, const int16_t *pcm, const float *noise, float *out,
                               wide_t *past, int n) noexcept
{
    for (int i = 0; i < n; i++) {
        wide_t w = wide(pcm[i]), y = wide(0);
        for (int k = PAST; k >= 1; k--) {
            w = subtract_exact(w, past[k - 1], wide(den[k]));
            y = add_exact(y, past[k - 1], wide(num[k]));
        }
        std::copy_backward(past, past + PAST - 1, past + PAST);
        past[0] = wide(rounded(w));
        out[i] = rounded(y + w * wide(num[0])) + noise[i]; /* the present w unrounded */
    }
}

/** The filter under way, each value twice; its recursion rounds nearly (dsp/simd_chain.h) */
struct QuickFilter {
    Pair64 den[PREFILTER_TERMS], past[PREFILTER_TERMS]; /* past[k]: k samples ago                                 */
    Wide4 num[PREFILTER_TERMS], found;                  /* found: differences from what w is when rounded truly    */
};

/** A stretch of the filter. Its recursion is a chain that the rest of the processor waits for: the part that is no
 *  recursion, which reads the present w unrounded, runs beside it
 *  u       I  [n]   input
 *  beside  IO       an autocorrelation to which `terms` terms are added with every PAST samples                      */
template <int terms>
TALV_INLINE void run_quickly(QuickFilter *filter, const wide_t *u, const float *noise, float *out, int n,
                             Autocorr *beside) noexcept
{
    QuickFilter f = *filter;
    AutocorrSums sums;
    const wide_t *x = nullptr;
    if constexpr (terms > 0) {
        sums.copy(*beside->sums());
        x = beside->next();
    }
    static_assert(PAST == LANES); /* the past takes its old places again after as many samples */
    for (int i = 0; i < n; i += PAST) {
        const Wide4 before4 = halves(low_lanes(f.past[4], f.past[3]), low_lanes(f.past[2], f.past[1]));
        Pair64 w[PAST];
        TALV_UNROLL
        for (int j = 0; j < PAST; j++) {
            w[j] = twice(u[i + j]);
            TALV_UNROLL
            for (int k = PAST; k >= 1; k--) /* the newest term comes last: all the others are then ready before it is */
                w[j] = subtract_exact(w[j], f.past[k], f.den[k]);
            TALV_UNROLL
            for (int k = PAST; k > 1; k--)
                f.past[k] = f.past[k - 1];
            f.past[1] = nearly_rounded(w[j]);
        }
        const Wide4 unrounded = halves(low_lanes(w[0], w[1]), low_lanes(w[2], w[3]));
        const Wide4 now = halves(low_lanes(f.past[4], f.past[3]), low_lanes(f.past[2], f.past[1]));
        const Wide4 before2 = halves(high_half(before4), low_half(now));
        Wide4 sum = before4 * f.num[4];
        sum = add_exact(sum, staggered(before4, before2), f.num[3]);
        sum = add_exact(sum, before2, f.num[2]);
        sum = add_exact(sum, staggered(before2, now), f.num[1]);
        store4(out + i, narrowed(sum + unrounded * f.num[0]) + load4(noise + i));
        f.found = gather_difference(f.found, now, rounded_wide(unrounded));
        TALV_UNROLL
        for (int t = 0; t < terms; t++)
            sums.add(x++);
    }
    if constexpr (terms > 0) {
        beside->sums()->copy(sums);
        beside->has_added(n / PAST * terms);
    }
    *filter = f;
}

/** The filter, as above */
TALV_INLINE void run_filter(const float *den, const float *num, const int16_t *pcm, const float *noise, float *out,
                            wide_t *past, int n, Autocorr *beside) noexcept
{
    constexpr int TERMS = 2;
    wide_t u[FRAME_LEN];
    for (int i = 0; i < n; i++)
        u[i] = wide(pcm[i]);
    QuickFilter filter;
    TALV_UNROLL
    for (int k = 1; k <= PAST; k++) {
        filter.den[k] = twice(wide(den[k]));
        filter.past[k] = twice(past[k - 1]);
    }
    TALV_UNROLL
    for (int k = 0; k <= PAST; k++)
        filter.num[k] = broadcast(wide(num[k]));
    filter.found = broadcast(wide(0));
    const int both = beside == nullptr ? 0 : std::min(n, beside->ready() / TERMS * PAST);
    if (both > 0)
        run_quickly<TERMS>(&filter, u, noise, out, both, beside);
    run_quickly<0>(&filter, u + both, noise + both, out + both, n - both, nullptr);
    if (!CHAIN_AS_DEFINED && any_bit(filter.found)) [[unlikely]] {
        run_plainly(den, num, pcm, noise, out, past, n);
        return;
    }
    for (int k = 1; k <= PAST; k++)
        past[k - 1] = filter.past[k][0];
}

#endif

} // namespace

void iir_prefilter(const float *den, const float *num, const int16_t *pcm, float *out, float *state, int n,
                   Autocorr *beside) noexcept
{
    wide_t past[PAST];
    for (int k = 1; k <= PAST; k++)
        past[k - 1] = wide(state[k]);
    run_filter(den, num, pcm, floor_noise, out, past, n, beside);

    state[0] = rounded(past[0]);
    for (int k = 1; k <= PAST; k++)
        state[k] = rounded(past[k - 1]);
    for (int k = 1; k <= 3; k++)
        state[k] += floor_noise[k];
}

namespace
{

/** The samples added up in rising order in double, rounded once */
float block_sum(int n, const float *x) noexcept
{
#ifdef TALV_FLOAT_ONLY
    Twofold sum = {0.0f, 0.0f};
    for (int i = 0; i < n; i++)
        sum = sum + x[i];
    return rounded(sum);
#else
    Wide4 part[4] = {}, size[4] = {};
    int i = 0;
    for (; i + 4 * LANES <= n; i += 4 * LANES)
        TALV_UNROLL
    for (int p = 0; p < 4; p++) {
        const Wide4 v = load_wide(x + i + LANES * p);
        part[p] = part[p] + v;
        size[p] = size[p] + magnitude(v);
    }
    wide_t total = sum_of_lanes((part[0] + part[1]) + (part[2] + part[3]));
    wide_t magnitudes = sum_of_lanes((size[0] + size[1]) + (size[2] + size[3]));
    for (; i < n; i++) {
        total += wide(x[i]);
        magnitudes += std::fabs(wide(x[i]));
    }
    float nearest;
    if (rounds_alike(total, magnitudes * SUM_ORDER_ERROR, &nearest))
        return nearest;

    total = wide(0);
    for (i = 0; i < n; i++)
        total += wide(x[i]);
    return rounded(total);
#endif
}

/** Subtract a straight line, which is a running sum in float
 *  n       I           a multiple of LANES, or less
 *  level   IO          what is subtracted from x[0]
 *  beside  IO          an autocorrelation to which `terms` terms are added with every LANES samples                  */
template <int terms>
TALV_INLINE void subtract_line(int n, float *level, float step, float *x, Autocorr *beside) noexcept
{
    AutocorrSums sums;
    const wide_t *partner = nullptr;
    if constexpr (terms > 0) {
        sums.copy(*beside->sums());
        partner = beside->next();
    }
    float now = *level;
    for (int i = 0; i < n; i += LANES) {
        Float4 line;
        TALV_UNROLL
        for (int j = 0; j < LANES; j++, now += step)
            line[j] = now;
        store4(x + i, load4(x + i) - line);
        TALV_UNROLL
        for (int t = 0; t < terms; t++)
            sums.add(partner++);
    }
    if constexpr (terms > 0) {
        beside->sums()->copy(sums);
        beside->has_added(n / LANES * terms);
    }
    *level = now;
}

} // namespace

void dc_tracker(int n, float *mean, float *x, Autocorr *beside) noexcept
{
    constexpr int TERMS = 2, CHUNK = 40;
    const float sum = block_sum(n, x);
    const wide_t m = wide(sum) / wide(n);
    const float step = rounded((m - wide(*mean)) / wide(n));
    float level = *mean;
    *mean = rounded(m);

    /* What the autocorrelation misses it takes in piece by piece, so as to go on with one piece beside the next. */
    for (int done = 0; done < n;) {
        const int missing = beside != nullptr ? beside->missing() : 0;
        const int now = missing > 0 ? std::min(missing, CHUNK) : n - done;
        const int both = beside != nullptr ? std::min(now, beside->ready() / TERMS * LANES) : 0;
        if (both > 0)
            subtract_line<TERMS>(both, &level, step, x + done, beside);
        subtract_line<0>(now - both, &level, step, x + done + both, nullptr);
        if (missing > 0)
            beside->take_windowed(x + done, now);
        done += now;
    }
}

void lpc_residual(int, int n, const float *x, const float *a, float *out) noexcept
{
    wide_t history[LPC_ORDER + FRAME_LEN];
    widen(x - LPC_ORDER, LPC_ORDER + n, history);
    Wide4 tap[LPC_ORDER];
    TALV_UNROLL
    for (int j = 0; j < LPC_ORDER; j++)
        tap[j] = broadcast(wide(a[j]));
    int i = 0;
    for (; i + LANES <= n; i += LANES) {
        const wide_t *now = history + LPC_ORDER + i;
        Wide4 e = load(now);
        TALV_UNROLL
        for (int j = 0; j < LPC_ORDER; j++)
            e = add_exact(e, tap[j], load(now - 1 - j));
        store_rounded(out + i, e);
    }
    for (; i < n; i++) {
        const wide_t *now = history + LPC_ORDER + i;
        wide_t e = now[0];
        TALV_NO_UNROLL
        for (int j = 0; j < LPC_ORDER; j++)
            e = add_exact(e, wide(a[j]), now[-1 - j]);
        out[i] = rounded(e);
    }
}

void add_floor_noise(int n, float *x) noexcept
{
    for (int i = 0; i < n; i++)
        x[i] += floor_noise[i];
}

} // namespace talv::inline TALV_TARGET

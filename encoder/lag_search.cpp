#include "encoder/lag_search.h"

#include "dsp/correlate.h"
#include "dsp/float_order.h"
#include "dsp/simd_estimate.h"
#include "dsp/table.h"
#include "encoder/drift.h"

#include <algorithm>
#include <limits>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr float NOTHING = std::numeric_limits<float>::lowest();

/** The correlation of one piece as it is defined: from the bias on, in rising i in double, rounded once */
float exact_piece(const float *x, int n, int lag, float bias, float magnitude) noexcept
{
    float nearest;
    if (n % 20 == 0 && rounds_alike(wide(bias) + dot_product(x, x - lag, n),
                                    (wide(bias) + wide(magnitude)) * SUM_ORDER_ERROR, &nearest))
        return nearest;
    wide_t sum = wide(bias);
    for (int i = 0; i < n; i++)
        sum = add_exact(sum, wide(x[i]), wide(x[i - lag]));
    return rounded(sum);
}

/** An entry of a column, biased */
float exact_entry(const LagBlock &block, int s, int lag, float magnitude) noexcept
{
    const float *x = block.x + s * block.column_len;
    if (block.pieces == 1)
        return exact_piece(x, block.column_len, lag, CORR_BIAS, magnitude);
    const int half = block.column_len / 2;
    return exact_piece(x, half, lag, CORR_BIAS * 0.5f, magnitude) +
           exact_piece(x + half, half, lag, CORR_BIAS * 0.5f, magnitude);
}

/** A whole column, by lag - lag_lo */
void exact_column(const LagBlock &block, int s, float *column) noexcept
{
    const float *x = block.x + s * block.column_len;
    if (block.pieces == 1) {
        correlate_lags(x, block.column_len, block.lag_lo, block.lag_hi, CORR_BIAS, column);
        return;
    }
    constexpr int TOGETHER = 32;
    const int half = block.column_len / 2;
    for (int lag = block.lag_lo; lag <= block.lag_hi; lag += TOGETHER, column += TOGETHER) {
        const int last = std::min(lag + TOGETHER - 1, block.lag_hi);
        float second[TOGETHER];
        correlate_lags(x, half, lag, last, CORR_BIAS * 0.5f, column);
        correlate_lags(x + half, half, lag, last, CORR_BIAS * 0.5f, second);
        for (int l = 0; l <= last - lag; l++)
            column[l] += second[l];
    }
}

/** Correlation sum from the entries of the columns, not below 0 */
class CorrelationSum
{
public:
    explicit CorrelationSum(bool wide_sum) noexcept : wide_(wide_sum) {}
    wide_t added(wide_t sum, float entry) const noexcept
    {
        return wide_ ? sum + wide(entry) : wide(rounded(sum + wide(entry)));
    }
    static float without_bias(wide_t sum) noexcept { return std::max(rounded(sum - wide(CORR_BIAS_SUM)), 0.0f); }

private:
    bool wide_;
};

/* The larger arrays of each step are gone from the stack when the next one runs. */

[[gnu::noinline]] void exact_sums(const LagBlock &block, float *S) noexcept
{
    const CorrelationSum sums(block.wide_sum);
    const int count = block.lag_hi - block.lag_lo + 1;
    wide_t sum[LAGS_MAX] = {};
    float entries[LAGS_MAX];
    for (int s = 0; s < block.columns; s++) {
        exact_column(block, s, entries);
        drift_maxima(entries, block.lag_lo, block.lag_hi, entries);
        for (int l = 0; l < count; l++)
            // NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage): lag_lo is not above lag_hi, so entries were written
            sum[l] = sums.added(sum[l], entries[l]);
    }
    for (int l = 0; l < count; l++)
        S[l] = CorrelationSum::without_bias(sum[l]);
}

[[gnu::noinline]] void score_exactly(const LagBlock &block, const float *S, LagChoice *choice) noexcept
{
    float energy[ENERGIES_MAX];
    choice->E = slide_energy(block.x, block.n, block.lag_lo, block.lag_hi, energy);
    choice->lag = best_lag(S, energy, block.lag_lo, block.lag_hi, &choice->q);
}

} // namespace

void search_lag_fully(const LagBlock &block, LagChoice *choice) noexcept
{
    float of_lag[LAGS_MAX];
    exact_sums(block, of_lag);
    score_exactly(block, of_lag, choice);
    exact_column(block, block.columns - 1, of_lag);
    choice->offset = drift_offset(of_lag, block.lag_lo, block.lag_hi, choice->lag);
}

namespace
{

/** Maxima of a column's estimates over what each lag may borrow from; encoder/drift.cpp does the same with entries
 *  near     I  [-LONGER_LAGS .. count-1]   by lag_hi - lag, as all arrays here
 *  largest  O  [-8 .. count + 7]   beyond 0..count-1 nothing counts                                                  */
void estimate_maxima(const float *near, int lag_lo, int lag_hi, float *largest) noexcept
{
    const int count = lag_hi - lag_lo + 1;
    float room[LONGER_LAGS + ESTIMATES_MAX + FLOATS];
    float *m = room + LONGER_LAGS;
    no_longer_lags(m);
    /* Maxima over four lags, the fewest that any lag chooses from */
    _Pragma("GCC unroll 2") for (int k = 0; k < count; k += FLOATS)
    {
        const Floats two = larger(load_floats(near + k), load_floats(near + k - 1));
        store(m + k, larger(two, larger(load_floats(near + k - 2), load_floats(near + k - 3))));
    }
    store(m + count, floats(NOTHING));

    /* Lags 5 w to 5 w + 4 choose from w lags, which two stretches of `size` cover. What is written beyond the five lies
     * at longer lags, which come later. */
    int w = lag_lo / 5;
    for (int size = 4;; size *= 2) {
        const int last = std::min(size == 16 ? LONGER_LAGS : 2 * size - 1, lag_hi / 5);
        const float *other = m - (w - size); /* the stretch of the longer lags */
        _Pragma("GCC unroll 2") for (int k = lag_hi - 5 * w - 4; w <= last; w++, k -= 5, other--)
        {
            if constexpr (FLOATS < 5)
                store(largest + k, larger(load_floats(m + k), load_floats(other + k)));
            const int at = k + 5 - FLOATS;
            store(largest + at, larger(load_floats(m + at), load_floats(other + at)));
        }
        if (5 * w > lag_hi)
            break;
        _Pragma("GCC unroll 2") for (int k = (lag_hi - 5 * w) / FLOATS * FLOATS; k >= 0; k -= FLOATS)
            store(m + k, larger(load_floats(m + k), load_floats(m + k - size))); /* over twice as many */
    }
}

/* Added to LONGER_LAGS estimates from element r on, it leaves the last r as they are and none of the others. */
constexpr Table<float, 2 * LONGER_LAGS> make_reach_limits() noexcept
{
    Table<float, 2 * LONGER_LAGS> table{};
    for (int i = 0; i < LONGER_LAGS; i++)
        table.entry[i] = -std::numeric_limits<float>::infinity();
    return table;
}

constexpr Table<float, 2 *LONGER_LAGS> reach_limits = make_reach_limits();

/** A search that is under way */
class Search
{
public:
    Search(const LagBlock &block, const LagEstimates &estimates) noexcept
        : block_(block), estimates_(estimates), sums_(block.wide_sum),
          entry_error_(UNIT * ((estimates.error + 7.0f) * estimates.magnitude + 2.0f * CORR_BIAS))
    {
    }

    bool run(LagChoice *choice) noexcept;

private:
    /* Half a unit of a float's last place, and a little more for what is of second order */
    static constexpr float UNIT = 1.01f * 0x1p-24f;
    static constexpr float SCORE_SLACK = 1e-5f; /* for the roundings of a score */
    static constexpr int SURVIVORS_MAX = 24;
    static constexpr int KNOWN_MAX = 6;

    struct Known {
        int k;
        float entry;
    };

    struct Score {
        wide_t value, q;
        int offset; /* of the last column, and how many entries are equal to the one that it chose */
        int equals;
    };

    void estimate_sums(float *sum) const noexcept;
    bool choose(float *estimate, LagChoice *choice) noexcept;
    float estimate_scores(const float *energy, float *score) const noexcept;
    float entry(int s, int k) noexcept;
    bool largest_entry(int s, int k, float *largest, int *offset, int *equals) noexcept;
    bool exact_score(int k, float energy, Score *score) noexcept;
    int lag(int k) const noexcept { return block_.lag_hi - k; }

    const LagBlock &block_;
    const LagEstimates &estimates_;
    CorrelationSum sums_;
    float entry_error_;                    /* how far an estimate, biased, may lie from the entry */
    Known known_[MAX_SEGMENTS][KNOWN_MAX]; /* the first known_count_ of each column */
    int known_count_[MAX_SEGMENTS] = {};
};

/** Sums of the columns' maxima; sum O [-8 .. count + 7] */
[[gnu::noinline]] void Search::estimate_sums(float *sum) const noexcept
{
    const int count = block_.lag_hi - block_.lag_lo + 1;
    float room[FLOATS + ESTIMATES_MAX + FLOATS];
    float *largest = room + FLOATS;
    estimate_maxima(estimates_.column[0], block_.lag_lo, block_.lag_hi, sum);
    for (int s = 1; s < block_.columns; s++) {
        estimate_maxima(estimates_.column[s], block_.lag_lo, block_.lag_hi, largest);
        for (int k = 0; k < count; k += FLOATS)
            store(sum + k, load_floats(sum + k) + load_floats(largest + k));
    }
    store(sum + count, floats(NOTHING));
}

/** Scores from sums, in their place: none of them less than the exact one but for SCORE_SLACK
 *  energy  I   [count + 7]   by lag_hi - lag
 *  score   IO  [count + 7]   from count on they are 0
 *  return                    the highest                                                                            */
float Search::estimate_scores(const float *energy, float *score) const noexcept
{
    /* Entries sum up to less than 3 (bias + magnitude) when they are rounded, three times at most, and so do the
     * estimates. */
    const int count = block_.lag_hi - block_.lag_lo + 1;
    const float above = 3.0f * entry_error_ + UNIT * (8.0f * estimates_.magnitude + 8.0f * CORR_BIAS) +
                        (static_cast<float>(block_.columns) * CORR_BIAS - CORR_BIAS_SUM);
    constexpr float STEP = rounded(LAG_WEIGHT);
    float ramp[FLOATS];
    for (int i = 0; i < FLOATS; i++)
        ramp[i] = 1.0f - STEP * static_cast<float>(block_.lag_hi - i);
    Floats weight = load_floats(ramp), top = floats(0.0f);
    for (int k = 0; k < count; k += FLOATS) {
        const Floats S = larger(load_floats(score + k) + floats(above), floats(0.0f));
        const Floats E = positive_or(load_floats(energy + k), floats(std::numeric_limits<float>::infinity()));
        const Floats now = weight * S * S / E;
        store(score + k, now);
        top = larger(top, now);
        weight = weight + floats(STEP * static_cast<float>(FLOATS));
    }
    return largest_lane(top);
}

/** An entry, which is worked out once */
float Search::entry(int s, int k) noexcept
{
    int &count = known_count_[s];
    for (int i = 0; i < count; i++)
        if (known_[s][i].k == k)
            return known_[s][i].entry;
    const float value = exact_entry(block_, s, lag(k), estimates_.magnitude);
    if (count < KNOWN_MAX)
        known_[s][count++] = {k, value};
    return value;
}

/** The largest entry that a lag may borrow, how much longer its lag is, and how many are equal to it
 *  return   false where entries below 0 may count, whose order is another one                                        */
bool Search::largest_entry(int s, int k, float *largest, int *offset, int *equals) noexcept
{
    /* All that the widest reach has room for, in whole registers; what lies before the reach is brought down. */
    const float *near = estimates_.column[s] + k + 1 - LONGER_LAGS;
    const float *reached = reach_limits.entry + drift_reach(lag(k), block_.lag_hi) + 1;
    Floats in_reach[LONGER_LAGS / FLOATS], top = floats(NOTHING);
    TALV_UNROLL
    for (int g = 0; g < LONGER_LAGS / FLOATS; g++) {
        in_reach[g] = load_floats(near + FLOATS * g) + load_floats(reached + FLOATS * g);
        top = larger(top, in_reach[g]);
    }
    const float least = largest_lane(top) - 2.0f * entry_error_;
    if (!(least > -CORR_BIAS))
        return false;
    uint32_t candidates = 0;
    TALV_UNROLL
    for (int g = 0; g < LONGER_LAGS / FLOATS; g++)
        candidates |= not_below(in_reach[g], floats(least)) << (FLOATS * g);

    *largest = 0.0f;
    for (; candidates != 0; candidates &= candidates - 1) {
        const int longer = LONGER_LAGS - 1 - __builtin_ctz(candidates);
        const float now = entry(s, k - longer);
        *equals = now > *largest ? 1 : *equals + (now == *largest ? 1 : 0);
        *offset = now >= *largest ? longer : *offset;
        *largest = std::max(now, *largest);
    }
    return true;
}

bool Search::exact_score(int k, float energy, Score *score) noexcept
{
    wide_t sum = wide(0);
    score->offset = score->equals = 0;
    for (int s = 0; s < block_.columns; s++) {
        float largest;
        if (!largest_entry(s, k, &largest, &score->offset, &score->equals))
            return false;
        sum = sums_.added(sum, largest);
    }
    const wide_t S = wide(CorrelationSum::without_bias(sum));
    score->q = energy > 0.0f ? S * S / wide(energy) : wide(0);
    score->value = (wide(1) - LAG_WEIGHT * wide(lag(k))) * score->q;
    return true;
}

bool Search::run(LagChoice *choice) noexcept
{
    float room[FLOATS + ESTIMATES_MAX + FLOATS];
    estimate_sums(room + FLOATS);
    return choose(room + FLOATS, choice);
}

/** Choose from sums of estimates, which become scores */
[[gnu::noinline]] bool Search::choose(float *estimate, LagChoice *choice) noexcept
{
    const int count = block_.lag_hi - block_.lag_lo + 1;
    float energy[ENERGIES_MAX];
    choice->E = slide_energy(block_.x, block_.n, block_.lag_lo, block_.lag_hi, energy);
    store(energy + count, floats(0.0f));
    const float top = estimate_scores(energy, estimate);

    int at = 0;
    unsigned lanes = 0; /* of the highest score: the first place that has it */
    for (; lanes == 0 && at < count; at += FLOATS)
        lanes = not_below(load_floats(estimate + at), floats(top));
    if (lanes == 0)
        return false;
    int best = at - FLOATS + __builtin_ctz(lanes);
    Score highest;
    if (!exact_score(best, energy[best], &highest))
        return false;
    const float limit = rounded(highest.value) * (1.0f - SCORE_SLACK);
    const int first = best;
    int survivors = 0;
    for (at = 0; at < count; at += FLOATS) {
        lanes = not_below(load_floats(estimate + at), floats(limit));
        for (; lanes != 0; lanes &= lanes - 1) {
            const int k = at + __builtin_ctz(lanes);
            if (k >= count || k == first)
                continue;
            Score score;
            if (++survivors > SURVIVORS_MAX || !exact_score(k, energy[k], &score))
                return false;
            if (score.value > highest.value || (score.value == highest.value && k > best)) {
                best = k;
                highest = score;
            }
        }
    }
    choice->lag = lag(best);
    choice->offset = highest.offset;
    choice->q = highest.q;
    return highest.equals == 1 || choice->offset == 0; /* of equal ones it is the search from above that decides */
}

} // namespace

void no_longer_lags(float *near) noexcept
{
    for (int i = 0; i < LONGER_LAGS; i += FLOATS)
        store(near - LONGER_LAGS + i, floats(NOTHING));
}

float magnitude_bound(const float *x, int n) noexcept
{
    constexpr int PARTS = 4;
    Floats part[PARTS] = {};
    int i = 0;
    for (; i + PARTS * FLOATS <= n; i += PARTS * FLOATS)
        TALV_UNROLL
    for (int p = 0; p < PARTS; p++) {
        const Floats v = load_floats(x + i + FLOATS * p);
        part[p] = add_product(part[p], v, v);
    }
    for (; i + FLOATS <= n; i += FLOATS)
        part[0] = add_product(part[0], load_floats(x + i), load_floats(x + i));
    float total = sum_of_lanes((part[0] + part[1]) + (part[2] + part[3]));
    for (; i < n; i++)
        total += x[i] * x[i];
    return total * 1.001f;
}

bool search_lag(const LagBlock &block, const LagEstimates &estimates, LagChoice *choice) noexcept
{
    constexpr float GREATEST = 1e15f; /* its square is no infinity                                               */
    constexpr float LEAST = 1e-3f;    /* what is added to half the bias has to be twice as much to change it     */
    if (!LAGS_ARE_ESTIMATED || !(estimates.magnitude < GREATEST))
        return false;
    if (estimates.magnitude < LEAST) {
        float energy[ENERGIES_MAX];
        *choice = {block.lag_lo, 0, wide(0), slide_energy(block.x, block.n, block.lag_lo, block.lag_hi, energy)};
        return true;
    }
    Search search(block, estimates);
    return search.run(choice);
}

} // namespace talv::inline TALV_TARGET

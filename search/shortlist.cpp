#include "search/shortlist.h"

#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/table.h"
#include "dsp/trig.h"
#include "dsp/vq.h"

#include <algorithm>

namespace talv::inline TALV_TARGET
{

namespace
{

/** An entry and how far it is from the target */
struct Ranked {
    float distance;
    int32_t index;
};

bool nearer(const Ranked &a, const Ranked &b) noexcept
{
    return a.distance != b.distance ? a.distance < b.distance : a.index < b.index;
}

/** Bring the `count` nearest of n entries to the front, in order */
void rank(Ranked *entries, int n, int count) noexcept
{
    std::partial_sort(entries, entries + count, entries + n, nearer);
}

float squared_distance(const float *a, const float *b, int dim) noexcept
{
    float sum = 0.0f;
    for (int i = 0; i < dim; i++)
        sum += (a[i] - b[i]) * (a[i] - b[i]);
    return sum;
}

/* LSF */

constexpr int SURVIVORS = LSF_LIST_MAX;
constexpr int LEVELS_MAX = 16;
constexpr float GAP_LEAST = 0.02f; /* radians: distances below it count as this */

/** An index vector in the making */
struct LsfPath {
    float cost;
    int32_t index[LPC_ORDER];
    float lsf[LPC_ORDER];
};

/** Weight of element k: the nearer its neighbours, the sharper the resonance (Laroia, Phamdo and Farvardin, "Robust and
 *  Efficient Quantization of Speech LSP Parameters", ICASSP 1991)                                                   */
float lsf_weight(const float *lsf, int k) noexcept
{
    const float below = k > 0 ? lsf[k] - lsf[k - 1] : lsf[k];
    const float above = k < LPC_ORDER - 1 ? lsf[k + 1] - lsf[k] : static_cast<float>(LSF_TOP) - lsf[k];
    return 1.0f / std::max(below, GAP_LEAST) + 1.0f / std::max(above, GAP_LEAST);
}

/** Extend each path by every level of element k and keep the best; the number kept is the result
 *  paths  I  [count]
 *  kept   O  [SURVIVORS]                                                                                            */
int extend(const LsfPath *paths, int count, const float *lsf, int k, const float *levels, LsfPath *kept) noexcept
{
    const int choices = lsf_level_counts[k];
    const float weight = lsf_weight(lsf, k);
    Ranked entries[SURVIVORS * LEVELS_MAX];
    for (int p = 0; p < count; p++) {
        const float before = k > 0 ? paths[p].lsf[k - 1] : 0.0f;
        for (int j = 0; j < choices; j++) {
            const float d = before + levels[j] - lsf[k];
            entries[p * choices + j] = {paths[p].cost + weight * d * d, p * choices + j};
        }
    }
    const int survivors = std::min(count * choices, SURVIVORS);
    rank(entries, count * choices, survivors);
    for (int i = 0; i < survivors; i++) {
        const int p = entries[i].index / choices, j = entries[i].index % choices;
        kept[i] = paths[p];
        kept[i].cost = entries[i].distance;
        kept[i].index[k] = j;
        kept[i].lsf[k] = (k > 0 ? paths[p].lsf[k - 1] : 0.0f) + levels[j];
    }
    return survivors;
}

/* Cosines of mel-spaced frequencies from 80 to 3700 Hz, in the middle of 24 equal steps */
constexpr int ENVELOPE_POINTS = 24;
constexpr double ENVELOPE_FACTOR = 1.0747478534917676;      /* the 24th root of (700 + 3700)/(700 + 80) */
constexpr double ENVELOPE_HALF_FACTOR = 1.0367004646915943; /* and the 48th                             */

constexpr Table<float, ENVELOPE_POINTS> make_envelope_cosines() noexcept
{
    Table<float, ENVELOPE_POINTS> table{};
    double hz = (80.0 + 700.0) * ENVELOPE_HALF_FACTOR;
    for (float &cosine : table.entry) {
        cosine = static_cast<float>(cos_wide(2.0 * PI * (hz - 700.0) / 8000.0));
        hz *= ENVELOPE_FACTOR;
    }
    return table;
}
constexpr Table<float, ENVELOPE_POINTS> envelope_cosines = make_envelope_cosines();

constexpr float LEAST_POWER = 1e-9f; /* keeps the ratio finite where a pair of LSFs meets */

/** |A|^2 of an LSF vector, up to a factor: half of (1 + cos w) prod (cos w - cos lsf)^2 over its even elements and half
 *  of (1 - cos w) times that over the odd ones                                                                      */
void inverse_envelope(const float *lsf, float *power) noexcept
{
    float cosine[LPC_ORDER];
    for (int k = 0; k < LPC_ORDER; k++)
        cosine[k] = static_cast<float>(cos_wide(static_cast<double>(lsf[k])));
    for (int i = 0; i < ENVELOPE_POINTS; i++) {
        const float x = envelope_cosines.entry[i];
        float even = 1.0f, odd = 1.0f;
        for (int k = 0; k < LPC_ORDER; k += 2) {
            even *= (x - cosine[k]) * (x - cosine[k]);
            odd *= (x - cosine[k + 1]) * (x - cosine[k + 1]);
        }
        power[i] = (1.0f + x) * even + (1.0f - x) * odd;
    }
}

/** Distance of the envelope that the decoder makes of a path from the one wanted
 *  wanted  I  [ENVELOPE_POINTS]                                                                                     */
float envelope_distance(const LsfPath *path, const float *wanted) noexcept
{
    float lsf[LPC_ORDER], power[ENVELOPE_POINTS];
    std::copy_n(path->lsf, LPC_ORDER, lsf);
    lsf_stabilize(lsf, LPC_ORDER, LSF_SPACING_DECODED);
    inverse_envelope(lsf, power);
    float sum = 0.0f;
    for (int i = 0; i < ENVELOPE_POINTS; i++) {
        const float r = (power[i] + LEAST_POWER) / (wanted[i] + LEAST_POWER);
        sum += r + 1.0f / r - 2.0f;
    }
    return sum;
}

} // namespace

void lsf_short_list(const float *lsf, int count, int32_t (*index)[LPC_ORDER]) noexcept
{
    LsfPath paths[2][SURVIVORS] = {};
    int survivors = 1;
    const float *levels = lsf_levels;
    for (int k = 0; k < LPC_ORDER; k++) {
        survivors = extend(paths[k % 2], survivors, lsf, k, levels, paths[(k + 1) % 2]);
        levels += lsf_level_counts[k];
    }
    const LsfPath *found = paths[LPC_ORDER % 2];

    float wanted[ENVELOPE_POINTS];
    inverse_envelope(lsf, wanted);
    Ranked entries[SURVIVORS];
    for (int i = 0; i < SURVIVORS; i++)
        entries[i] = {envelope_distance(&found[i], wanted), i};
    rank(entries, SURVIVORS, count);
    for (int i = 0; i < count; i++)
        std::copy_n(found[entries[i].index].index, LPC_ORDER, index[i]);
}

bool lsf_step(int32_t *index, int k, int step) noexcept
{
    if (index[k] + step < 0 || index[k] + step >= lsf_level_counts[k])
        return false;
    float lsf[LPC_ORDER];
    lsf_dequant(lsf, index, LPC_ORDER, lsf_levels, lsf_level_counts);
    index[k] += step;
    float before = 0.0f;
    const float *levels = lsf_levels;
    for (int j = 0; j < LPC_ORDER; j++) {
        float level = levels[index[j]];
        if (j > k)
            index[j] = nearest_value(&level, lsf[j] - before, levels, lsf_level_counts[j]);
        before += level;
        levels += lsf_level_counts[j];
    }
    return true;
}

void gain_short_list(const float *target, int count, int32_t (*index)[2]) noexcept
{
    constexpr int ROWS = GAIN_STAGE_ROWS;
    Ranked entries[ROWS * ROWS];
    for (int i = 0; i < ROWS; i++) {
        float rest[QUARTERS];
        for (int q = 0; q < QUARTERS; q++)
            rest[q] = target[q] - gain_codebook[i * QUARTERS + q];
        for (int j = 0; j < ROWS; j++)
            entries[i * ROWS + j] = {squared_distance(rest, gain_codebook + (ROWS + j) * QUARTERS, QUARTERS),
                                     i * ROWS + j};
    }
    rank(entries, ROWS * ROWS, count);
    for (int i = 0; i < count; i++) {
        index[i][0] = entries[i].index / ROWS;
        index[i][1] = entries[i].index % ROWS;
    }
}

void row_short_list(const float *target, int dim, int rows, const float *table, int count, int32_t *index) noexcept
{
    Ranked entries[AS_ROWS];
    for (int i = 0; i < rows; i++)
        entries[i] = {squared_distance(target, table + i * dim, dim), i};
    rank(entries, rows, count);
    for (int i = 0; i < count; i++)
        index[i] = entries[i].index;
}

} // namespace talv::inline TALV_TARGET

#include "dsp/msvq.h"

#include "dsp/simd.h"
#include "dsp/vq_distance.h"

#include <algorithm>
#include <limits>

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

/* Gains in order of time, square roots of the RMS in the scale of 16-bit PCM, one row a line: the sum of a row of stage
 * 0 and a row of stage 1 (signed corrections) stands for a frame's four gains */
// clang-format off
constexpr float gain_codebook[GAIN_STAGES * GAIN_STAGE_ROWS * QUARTERS] = {
    /* stage 0 */
    /* 0 */
       0.714667f,    6.662803f,    23.26488f,    25.10951f,
       12.82895f,    12.96229f,    12.90824f,    13.17816f,
       17.98618f,    17.77944f,    17.43725f,    17.27284f,
       74.80579f,    76.04909f,    75.78643f,    74.42152f,
       29.04286f,    33.23801f,    39.39325f,    45.25621f,
       3.893414f,    3.563217f,    3.451504f,    3.625901f,
       66.66338f,    66.92191f,    66.37109f,    64.87042f,
       20.66644f,     23.6239f,    50.76344f,    64.86855f,
    /* 8 */
       40.95349f,    48.89481f,    54.73849f,    57.76683f,
       60.68188f,    50.56081f,    30.00108f,    15.29611f,
        43.2517f,    43.84316f,    43.87715f,    43.41311f,
       68.37054f,    62.92622f,    54.80442f,    41.79011f,
       34.78137f,    31.72941f,    29.00572f,    26.77374f,
       43.48883f,    29.76526f,     16.6243f,    11.18688f,
        86.4809f,    87.68378f,    87.63519f,    86.09329f,
       24.76342f,    15.46969f,    10.03099f,    7.772953f,
    /* 16 */
       53.68498f,    49.03672f,    42.39766f,    33.97711f,
       29.75629f,     24.3899f,    19.74785f,    16.15309f,
       13.88693f,    33.88632f,     42.7679f,    44.74509f,
        38.2165f,    37.77912f,    36.95761f,    35.53484f,
       15.22463f,    17.17573f,    33.51311f,    46.59249f,
       45.51008f,     39.1029f,     30.2751f,    22.18212f,
       4.359711f,    4.388355f,    7.183377f,    21.16635f,
       52.12177f,    51.77152f,    50.89547f,    49.45964f,
    /* 24 */
       26.94941f,     28.1533f,    29.82709f,    32.03664f,
       23.60762f,    43.01237f,    54.36907f,     59.9771f,
       58.16581f,    58.67099f,    58.63049f,    58.10137f,
       45.28411f,    61.40297f,     70.9041f,    75.23296f,
       12.99485f,    12.73917f,    14.51375f,    38.00147f,
       9.689977f,    8.586574f,    7.886353f,    7.396183f,
       23.40283f,    22.99399f,    22.87197f,    22.91344f,
       13.40643f,    20.30131f,    25.22637f,    28.95826f,

    /* stage 1 */
    /* 0 */
       -3.083616f,     1.411347f,      7.27423f,     9.181216f,
       -4.606485f,    -4.138703f,    -3.757748f,    -3.284137f,
        1.336031f,    -7.332268f,    -5.984101f,  -0.04260701f,
        1.380065f,     1.533551f,     1.731376f,     2.339787f,
        6.227332f,    -4.218623f,     2.202112f,     5.289293f,
        4.000638f,     3.351871f,     3.771024f,     5.256407f,
        3.041505f,   -0.2979587f,    -1.574615f,    -1.555176f,
       -2.993012f,     -1.45481f,     1.486469f,     3.876472f,
    /* 8 */
        -2.96709f,    -2.729493f,    -1.442645f,    0.8649736f,
        6.218728f,     3.011089f,    -2.634423f,    -5.324249f,
        5.962369f,   -0.6853223f,    -7.815371f,     7.267542f,
        1.671326f,     2.040296f,    -0.223782f,    -4.347827f,
       -2.751482f,     8.152466f,    -4.625911f,    -2.434262f,
        7.200509f,    -2.843576f,    -4.704176f,    -3.534411f,
        9.321666f,     10.16906f,      11.1686f,     9.981596f,
       0.9575593f,   -0.2185857f,     -3.54959f,    -9.458106f,
    /* 16 */
        7.036745f,     4.802441f,      1.92192f,   -0.2450419f,
       -2.148052f,    -3.421312f,     8.930347f,    -3.378282f,
        -9.21912f,     6.838767f,     6.209754f,   0.08820126f,
      -0.9486668f,     7.281993f,     5.461554f,     -7.90844f,
      -0.7437205f,    -2.198235f,    -1.066623f,     8.650578f,
        13.49378f,     8.773892f,    -1.749085f,    -14.43106f,
       -13.17633f,     -5.15587f,     4.389005f,     10.56207f,
     -0.03464289f,    -1.842748f,    -3.755734f,    -4.684112f,
    /* 24 */
        3.717437f,     2.303212f,    0.9126748f,   0.01011609f,
       -1.126791f,     1.331827f,     3.675224f,      4.88381f,
       -1.359886f,    -1.406723f,    -1.420609f,    -1.639343f,
       0.7644324f,     5.335768f,     5.022519f,    0.3148122f,
        -6.59775f,    -6.159524f,    -2.537711f,     1.799622f,
       -0.233941f,   0.04818971f,     0.299467f,    0.2213185f,
       -6.122316f,     1.619275f,    0.1762858f,    -5.025365f,
       -7.195496f,    -1.192048f,     1.259017f,     1.305622f,
};
// clang-format on

const int32_t gain_stage_sizes[GAIN_STAGES] = {GAIN_STAGE_ROWS, GAIN_STAGE_ROWS};

} // namespace talv::inline TALV_TABLES
#endif

/* The codebook once more, by columns, for the estimates */
#ifndef TALV_FLOAT_ONLY
namespace talv::inline TALV_TABLES
{

extern const Table<float, GAIN_STAGES * GAIN_STAGE_ROWS * QUARTERS> gain_columns;

#ifdef TALV_HAS_TABLES
constexpr Table<float, GAIN_STAGES *GAIN_STAGE_ROWS *QUARTERS> gain_columns =
    columns_of<GAIN_STAGES, GAIN_STAGE_ROWS, QUARTERS>(gain_codebook);
#endif

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int M_BEST = 3;
constexpr int STAGE_ROWS_MAX = 128;

/** A row number for each stage so far, and the error of their sum */
struct Path {
    float cost;
    int32_t row[GAIN_STAGES];
};

/** Put a path in its place among the best, which are in rising order; an equal one stays behind those found before */
void insert_path(Path *places, const Path &path) noexcept
{
    int p = 0;
    while (p < M_BEST && !(places[p].cost > path.cost))
        p++;
    if (p == M_BEST)
        return;
    for (int m = M_BEST - 1; m > p; m--)
        places[m] = places[m - 1];
    places[p] = path;
}

#ifndef TALV_FLOAT_ONLY

/** The places of the M_BEST least of 32 values, if all others are surely above them; returns whether that is so */
bool surely_best(const float *x, float least, int *place) noexcept
{
    for (int m = 1; m < M_BEST; m++) {
        Floats next = floats(std::numeric_limits<float>::infinity());
        TALV_UNROLL
        for (int i = 0; i < 32; i += FLOATS)
            next = smaller(above_or(load_floats(x + i), floats(least), next), next);
        least = smallest_lane(next);
    }
    uint32_t places = not_above(surely_above(least), x);
    for (int m = 0; m < M_BEST; m++, places &= places - 1) {
        if (places == 0)
            return false;
        place[m] = __builtin_ctz(places);
    }
    return places == 0 && least < COST_BOUND * 0.5f;
}

/** msvq_search of the gains by estimates; returns whether they leave nothing open */
bool search_gains(const float *target, int32_t *index) noexcept
{
    static_assert(GAIN_STAGE_ROWS == 32);
    float distance[M_BEST * GAIN_STAGE_ROWS];
    int row[M_BEST];
    if (!surely_best(distance, estimate_distances<QUARTERS, GAIN_STAGE_ROWS>(target, gain_columns, distance), row))
        return false;
    float least = std::numeric_limits<float>::infinity();
    for (int c = 0; c < M_BEST; c++) {
        float rest[QUARTERS];
        store4(rest, load4(target) - load4(gain_codebook + row[c] * QUARTERS));
        least = std::min(least, estimate_distances<QUARTERS, GAIN_STAGE_ROWS>(
                                    rest, gain_columns + GAIN_STAGE_ROWS * QUARTERS, distance + c * GAIN_STAGE_ROWS));
    }
    const int best = surely_least(distance, M_BEST * GAIN_STAGE_ROWS, least);
    if (best < 0)
        return false;
    index[0] = row[best / GAIN_STAGE_ROWS];
    index[1] = best % GAIN_STAGE_ROWS;
    return true;
}

#else

bool search_gains(const float *, int32_t *) noexcept
{
    return false;
}

#endif

/** msvq_search as it is defined; the sum of the rows is still to be found */
TALV_SELDOM void search_stages(int dim, const int32_t *stage_sizes, const float *table, const float *target,
                               float *work, int32_t *index) noexcept
{
    Path candidates[M_BEST] = {};
    int candidate_count = 1; /* one empty path */
    float distance[STAGE_ROWS_MAX];
    const float *rows = table;
    for (int s = 0; s < GAIN_STAGES; s++) {
        Path places[M_BEST];
        for (Path &place : places)
            place = {COST_BOUND, {0, 0}};
        for (int c = 0; c < candidate_count; c++) {
            Path path = candidates[c];
            for (int d = 0; d < dim; d++)
                work[d] = s == 0 ? target[d] : target[d] - table[path.row[0] * dim + d];
            squared_distances(dim, dim, work, stage_sizes[s], rows, distance);
            for (int j = 0; j < stage_sizes[s]; j++) {
                if (!(distance[j] < places[M_BEST - 1].cost))
                    continue;
                path.cost = distance[j];
                path.row[s] = j;
                insert_path(places, path);
            }
        }
        for (int m = 0; m < M_BEST; m++)
            candidates[m] = places[m];
        candidate_count = M_BEST;
        rows += stage_sizes[s] * dim;
    }
    for (int s = 0; s < GAIN_STAGES; s++)
        index[s] = candidates[0].row[s];
}

} // namespace

void msvq_search(int dim, const int32_t *stage_sizes, const float *table, const float *target, float *work,
                 int32_t *index) noexcept
{
    static_assert(GAIN_STAGES == 2 && QUARTERS == LANES);
    const bool gains = table == gain_codebook && dim == QUARTERS && stage_sizes[0] == GAIN_STAGE_ROWS &&
                       stage_sizes[1] == GAIN_STAGE_ROWS;
    if (!gains || !search_gains(target, index))
        search_stages(dim, stage_sizes, table, target, work, index);
    msvq_decode(dim, stage_sizes, table, work, index);
}

void msvq_decode(int dim, const int32_t *stage_sizes, const float *table, float *out, const int32_t *index) noexcept
{
    static_assert(GAIN_STAGES == 2);
    const float *first = table + index[0] * dim;
    const float *second = table + (stage_sizes[0] + index[1]) * dim;
    for (int d = 0; d < dim; d++)
        out[d] = 0.0f + first[d] + second[d]; /* rows are added up from 0 */
}

} // namespace talv::inline TALV_TARGET

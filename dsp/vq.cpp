#include "dsp/vq.h"

#include "dsp/as_codebook.h"
#include "dsp/simd.h"
#include "dsp/vq_distance.h"
#include "dsp/wide.h"

#include <algorithm>

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

/* Pairs of periodicity values (1 - r^2 of the two windows of a frame), one row a line */
// clang-format off
constexpr float rs_codebook[RS_ROWS * RS_DIM] = {
    /* 0 */
    0.0157f, 0.0135f,
    0.0251f,  0.057f,
    0.0703f, 0.0256f,
    0.1418f, 0.0591f,
    0.0602f, 0.1114f,
    0.0564f, 0.2059f,
    0.0625f, 0.5386f,
     0.076f, 0.3404f,
    /* 8 */
    0.1334f, 0.6815f,
    0.1322f, 0.8823f,
    0.1808f,  0.203f,
    0.2379f, 0.4534f,
    0.2463f, 0.0692f,
    0.3758f, 0.0849f,
    0.3788f,  0.284f,
    0.4291f, 0.5351f,
    /* 16 */
    0.4406f, 0.7106f,
    0.4406f,  0.882f,
    0.5634f, 0.1086f,
    0.5802f, 0.6026f,
    0.5912f, 0.4421f,
     0.645f, 0.7862f,
    0.6558f, 0.6774f,
    0.6793f, 0.2877f,
    /* 24 */
    0.7254f, 0.5654f,
     0.753f, 0.7298f,
    0.7557f, 0.8991f,
    0.8351f, 0.1496f,
    0.8719f, 0.3782f,
    0.8704f, 0.6383f,
    0.8736f, 0.7801f,
    0.9222f, 0.9088f,
};
// clang-format on

} // namespace talv::inline TALV_TABLES
#endif

/* The codebooks once more, by columns, for the estimates */
#ifndef TALV_FLOAT_ONLY
namespace talv::inline TALV_TABLES
{

extern const Table<float, AS_ROWS * AS_DIM> as_columns;
extern const Table<float, RS_ROWS * RS_DIM> rs_columns;

#ifdef TALV_HAS_TABLES
constexpr Table<float, AS_ROWS *AS_DIM> as_columns = columns_of<1, AS_ROWS, AS_DIM>(as_codebook);
constexpr Table<float, RS_ROWS *RS_DIM> rs_columns = columns_of<1, RS_ROWS, RS_DIM>(rs_codebook);
#endif

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

void squared_distances(int row_len, int dim, const float *vector, int rows, const float *table,
                       float *distance) noexcept
{
    int i = 0;
    for (; i + LANES <= rows; i += LANES) {
        Wide4 e = broadcast(wide(0));
        for (int d = 0; d < dim; d++) {
            const Wide4 t = broadcast(wide(vector[d])) - load_strided(table + i * row_len + d, row_len);
            e = e + t * t;
        }
        store_rounded(distance + i, e);
    }
    for (; i < rows; i++) {
        wide_t e = wide(0);
        for (int d = 0; d < dim; d++) {
            const wide_t t = wide(vector[d]) - wide(table[i * row_len + d]);
            e += t * t;
        }
        distance[i] = rounded(e);
    }
}

namespace
{

constexpr int ROWS_MAX = AS_ROWS;

#ifndef TALV_FLOAT_ONLY

/** The row that vq_search takes, by estimates; -1 where they leave it open */
template <int dim, int rows>
int nearest_row(const float *vector, const float *columns) noexcept
{
    float distance[rows];
    const float least = estimate_distances<dim, rows>(vector, columns, distance);
    return surely_least(distance, rows, least);
}

/** The same for a table that may not be one of the codebooks, for which it is -1 */
int nearest_row(int row_len, int dim, const float *vector, int rows, const float *table) noexcept
{
    if (table == as_codebook && row_len == AS_DIM && dim == AS_DIM && rows == AS_ROWS)
        return nearest_row<AS_DIM, AS_ROWS>(vector, as_columns);
    if (table == rs_codebook && row_len == RS_DIM && dim == RS_DIM && rows == RS_ROWS)
        return nearest_row<RS_DIM, RS_ROWS>(vector, rs_columns);
    return -1;
}

#else

int nearest_row(int, int, const float *, int, const float *) noexcept
{
    return -1;
}

#endif

/** vq_search as it is defined */
TALV_SELDOM int nearest_row_exactly(int row_len, int dim, const float *vector, int rows, const float *table) noexcept
{
    float distance[ROWS_MAX + LANES];
    std::fill_n(distance + rows, LANES, COST_BOUND); /* for the last group, if it is not whole */
    squared_distances(row_len, dim, vector, rows, table, distance);
    const int row = place_of_least(distance, rows);
    return distance[row] < COST_BOUND ? row : 0;
}

} // namespace

void vq_search(int row_len, int dim, float *vector, int rows, const float *table, int32_t *index) noexcept
{
    int best_row = nearest_row(row_len, dim, vector, rows, table);
    if (best_row < 0)
        best_row = nearest_row_exactly(row_len, dim, vector, rows, table);
    *index = best_row;
    for (int d = 0; d < dim; d++)
        vector[d] = table[best_row * row_len + d];
}

int ivsvq2(int row_len, int dim, float *out, int rows, const float *table, int32_t index) noexcept
{
    const bool inside = index >= 0 && index < rows;
    const float *row = table + (inside ? index * row_len : 0);
    for (int d = 0; d < dim; d++)
        out[d] = row[d];
    return inside ? 0 : -1;
}

} // namespace talv::inline TALV_TARGET

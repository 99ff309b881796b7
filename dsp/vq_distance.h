/** Squared distances of a vector from the rows of a codebook: as they are defined, in double, and estimated in floats
 *
 *  A search looks at estimates first and takes a row that no other can beat, whatever the estimates' errors; only what
 *  they leave open is worked out as it is defined. Where nothing is wider than a float nothing is estimated.
 */
#ifndef TALV_DSP_VQ_DISTANCE_H
#define TALV_DSP_VQ_DISTANCE_H

#include "dsp/simd_estimate.h"
#include "dsp/table.h"

#include <limits>

/* What the estimates nearly always spare: kept small, but for machines where nothing is estimated */
#ifdef TALV_FLOAT_ONLY
#define TALV_SELDOM
#else
#define TALV_SELDOM [[gnu::cold]]
#endif

#ifndef TALV_FLOAT_ONLY
namespace talv::inline TALV_TABLES
{

/** A codebook by columns, those of each stage one behind the other, so that a search can load neighbouring rows side by
 *  side
 *  table   I  [stages][rows][dim]
 *  return     [stages][dim][rows]                                                                                    */
template <int stages, int rows, int dim>
constexpr Table<float, stages * rows * dim> columns_of(const float *table) noexcept
{
    Table<float, stages * rows * dim> columns{};
    for (int s = 0; s < stages; s++)
        for (int i = 0; i < rows; i++)
            for (int d = 0; d < dim; d++)
                columns.entry[(s * dim + d) * rows + i] = table[(s * rows + i) * dim + d];
    return columns;
}

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

inline constexpr float COST_BOUND = 1e38f; /* above every distance that can occur */

/** Squared distances of a vector from the rows of a table, each summed in rising order in double and rounded once
 *  distance  O  [rows]                                                                                             */
TALV_SELDOM void squared_distances(int row_len, int dim, const float *vector, int rows, const float *table,
                                   float *distance) noexcept;

#ifndef TALV_FLOAT_ONLY

/** Estimates of a vector's squared distances from the rows of a table, in floats. All terms are positive, so the error is
 *  below (dim + 5) / 2^24 of each.
 *  columns   I  [dim][rows]
 *  distance  O  [rows]
 *  return       the least of them                                                                                    */
template <int dim, int rows>
TALV_INLINE float estimate_distances(const float *vector, const float *columns, float *distance) noexcept
{
    static_assert(rows % FLOATS == 0);
    Floats least = floats(std::numeric_limits<float>::infinity());
    for (int i = 0; i < rows; i += FLOATS) {
        Floats sum = floats(0.0f);
        TALV_UNROLL
        for (int d = 0; d < dim; d++) {
            const Floats t = load_floats(columns + d * rows + i) - floats(vector[d]);
            sum = add_product(sum, t, t);
        }
        store(distance + i, sum);
        least = smaller(sum, least);
    }
    return smallest_lane(least);
}

/** Distances that are estimated to be above this are above `distance` when both are exact and rounded. The constant
 *  stands above what squares can lose that are no normal floats.                                                    */
constexpr float surely_above(float distance) noexcept
{
    return distance * (1.0f + 64.0f * 0x1p-24f) + 0x1p-100f;
}

/** Which of 32 values are not above a limit, a bit each */
TALV_INLINE uint32_t not_above(float limit, const float *x) noexcept
{
    uint32_t places = 0;
    TALV_UNROLL
    for (int i = 0; i < 32; i += FLOATS)
        places |= uint32_t{not_below(floats(limit), load_floats(x + i))} << i;
    return places;
}

/** Where the least of n values is, if all others are surely above it, else -1
 *  n      I  a multiple of 32
 *  least  I  that value                                                                                              */
TALV_INLINE int surely_least(const float *x, int n, float least) noexcept
{
    if (!(least < COST_BOUND * 0.5f))
        return -1;
    int place = -1;
    bool others = false;
    for (int from = 0; from < n; from += 32) {
        const uint32_t here = not_above(surely_above(least), x + from);
        others |= (here & (here - 1)) != 0 || (here != 0 && place >= 0);
        place = here != 0 ? from + __builtin_ctz(here) : place;
    }
    return others ? -1 : place;
}

#endif

} // namespace talv::inline TALV_TARGET

#endif

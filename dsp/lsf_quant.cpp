#include "dsp/lsf_quant.h"

#include "dsp/simd_float.h"

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

/* Levels in radians. List 0 holds values of the first LSF, list k the distance between LSF k-1 and LSF k. Each list
 * ascends, and its length is 2 to the power of its field's width. */
// clang-format off
const float lsf_levels[LSF_LEVEL_TOTAL] = {
    /* 0 */ 0.082786f, 0.113798f, 0.137825f, 0.157023f, 0.174718f, 0.192018f, 0.209597f, 0.227739f,
            0.247407f, 0.270369f, 0.295154f, 0.323421f, 0.354161f, 0.389015f, 0.429337f, 0.496309f,
    /* 1 */ 0.036313f, 0.051642f, 0.068984f, 0.085757f, 0.102879f, 0.122225f, 0.143062f, 0.166257f,
            0.190306f, 0.217613f, 0.247755f, 0.279532f, 0.317329f, 0.370626f, 0.443647f, 0.584053f,
    /* 2 */ 0.079172f, 0.140332f, 0.202444f, 0.270912f, 0.341749f, 0.427315f, 0.535355f, 0.72977f,
    /* 3 */ 0.119563f, 0.206578f, 0.279339f, 0.348139f, 0.425663f, 0.523951f, 0.644126f, 0.818614f,
    /* 4 */ 0.075217f, 0.15731f, 0.238642f, 0.312182f, 0.396829f, 0.502756f, 0.639448f, 0.835438f,
    /* 5 */ 0.060145f, 0.127436f, 0.197531f, 0.270159f, 0.34597f, 0.441592f, 0.575696f, 0.794777f,
    /* 6 */ 0.108636f, 0.204794f, 0.282445f, 0.354681f, 0.434284f, 0.52709f, 0.645847f, 0.821809f,
    /* 7 */ 0.07012f, 0.139672f, 0.204371f, 0.263688f, 0.324642f, 0.399417f, 0.501039f, 0.647841f,
    /* 8 */ 0.118925f, 0.210991f, 0.28362f, 0.353931f, 0.43647f, 0.540244f, 0.681018f, 0.91639f,
    /* 9 */ 0.108489f, 0.228748f, 0.34282f, 0.520305f,
};
// clang-format on

const int32_t lsf_level_counts[LPC_ORDER] = {16, 16, 8, 8, 8, 8, 8, 8, 8, 4};

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

int nearest_value(float *value, float x, const float *list, int count) noexcept
{
    /* Along the list the distances fall and then rise: the nearest level is the one before the first that is no nearer
     * than the one before it. */
    Float4 before = {};
    unsigned rises = 1u << count;
    for (int j = 0; j < count; j += LANES) {
        const Float4 distance = magnitude(x - load4(list + j));
        rises |= not_below(distance, last_and_three(before, distance)) << j;
        before = distance;
    }
    const int i = __builtin_ctz(rises & ~1u) - 1; /* the first level has none before it */
    *value = list[i];
    return i;
}

void lsf_quant(const float *lsf, int32_t *index, int order, const float *levels, const int32_t *counts) noexcept
{
    float q = 0.0f; /* the element before, as lsf_dequant will rebuild it */
    for (int k = 0; k < order; k++) {
        float v;
        index[k] = nearest_value(&v, lsf[k] - q, levels, counts[k]);
        q += v;
        levels += counts[k];
    }
}

void lsf_dequant(float *lsf, const int32_t *index, int order, const float *levels, const int32_t *counts) noexcept
{
    lsf[0] = levels[index[0]];
    for (int k = 1; k < order; k++) {
        levels += counts[k - 1];
        lsf[k] = levels[index[k]] + lsf[k - 1];
    }
}

} // namespace talv::inline TALV_TARGET

/* Scalar quantiser of the LSFs: the tables, the search, and the loop that keeps errors from adding up. */
#include "dsp/lsf_quant.h"

#include "dsp/lsf.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

void dequant(const int32_t *index, float *lsf)
{
    lsf_dequant(lsf, index, LPC_ORDER, lsf_levels, lsf_level_counts);
}

TEST(LsfLevels, FillTheirFieldsAndAreUnchanged)
{
    int total = 0, bits = 0;
    for (int k = 0; k < LPC_ORDER; k++) {
        ASSERT_EQ(lsf_level_counts[k], 1 << lsf_level_bits[k]) << "list " << k;
        total += lsf_level_counts[k];
        bits += lsf_level_bits[k];
    }
    EXPECT_EQ(total, LSF_LEVEL_TOTAL);
    EXPECT_EQ(bits, 31);
    /* encoders and decoders of all releases must agree on every level */
    EXPECT_EQ(test::table_checksum(lsf_levels, LSF_LEVEL_TOTAL), 0x6685A30Eu);
}

TEST(NearestValue, TiesGoToTheLowerIndex)
{
    const float list[4] = {0.0f, 1.0f, 2.0f, 3.0f};
    const struct {
        float x;
        int index;
    } cases[] = {{0.5f, 0},  {1.5f, 1},  {2.5f, 2},  {-9.0f, 0}, {0.0f, 0},     {0.49f, 0},
                 {0.51f, 1}, {1.49f, 1}, {2.51f, 3}, {99.0f, 3}, {-0x1p60f, 0}, {0x1p60f, 0}};
    /* the last two: every distance rounds to the same float, which is a tie */
    for (const auto &c : cases) {
        float value = -1.0f;
        EXPECT_EQ(nearest_value(&value, c.x, list, 4), c.index) << c.x;
        EXPECT_EQ(value, list[c.index]) << c.x;
    }
}

TEST(LsfQuant, WorkedVectors)
{
    // clang-format off
    const int32_t start_index[LPC_ORDER] = {8, 10, 3, 1, 3, 2, 2, 3, 1, 1};
    const double start_value[LPC_ORDER] = {0.247407, 0.495162, 0.766074, 0.972652, 1.284834,
                                           1.482365, 1.76481, 2.028498, 2.239489, 2.468237};
    const int32_t lowest_index[LPC_ORDER] = {};
    const double lowest_value[LPC_ORDER] = {0.082786, 0.119099, 0.198271, 0.317834, 0.393051,
                                            0.453196, 0.561832, 0.631952, 0.750877, 0.859366};
    const int32_t highest_index[LPC_ORDER] = {15, 15, 7, 7, 7, 7, 7, 7, 7, 3};
    const double highest_value[LPC_ORDER] = {0.496309, 1.080362, 1.810132, 2.628746, 3.464184,
                                             4.258961, 5.080770, 5.728611, 6.645001, 7.165306};
    // clang-format on
    float lsf[LPC_ORDER];
    int32_t index[LPC_ORDER];
    for (int k = 0; k < LPC_ORDER; k++)
        lsf[k] = 0.25f * static_cast<float>(k + 1);
    lsf_quant(lsf, index, LPC_ORDER, lsf_levels, lsf_level_counts);
    EXPECT_TRUE(std::equal(index, index + LPC_ORDER, start_index)) << ::testing::PrintToString(index);

    dequant(start_index, lsf);
    EXPECT_TRUE(test::all_near(lsf, start_value, LPC_ORDER, 1e-6));

    dequant(lowest_index, lsf);
    EXPECT_TRUE(test::all_near(lsf, lowest_value, LPC_ORDER, 1e-6));
    float stabilised[LPC_ORDER];
    std::copy(lsf, lsf + LPC_ORDER, stabilised);
    EXPECT_EQ(lsf_stabilize(stabilised, LPC_ORDER, LSF_SPACING_DECODED), 0);
    EXPECT_TRUE(test::same_bits(stabilised, lsf, LPC_ORDER)) << "the narrowest vector is wide enough";

    dequant(highest_index, lsf);
    EXPECT_TRUE(test::all_near(lsf, highest_value, LPC_ORDER, 2e-6)) << "not clamped";
}

TEST(LsfQuant, EachIndexIsNearestToWhatTheDecoderLacks)
{
    for (uint64_t seed = 510; seed < 1510; seed++) {
        Random random(seed);
        std::vector<float> lsf(LPC_ORDER);
        for (float &v : lsf)
            v = static_cast<float>(random.uniform(-0.1, 3.3));
        if (seed % 3 != 0) /* otherwise unordered, which is allowed */
            std::sort(lsf.begin(), lsf.end());
        const std::vector<float> before = lsf;
        int32_t index[LPC_ORDER];
        float decoded[LPC_ORDER];
        lsf_quant(lsf.data(), index, LPC_ORDER, lsf_levels, lsf_level_counts);
        ASSERT_EQ(lsf, before) << "the input is not to change";
        dequant(index, decoded);

        /* Only if the quantiser's running value equals the decoder's, bit for bit, is every choice the nearest one. */
        const float *list = lsf_levels;
        for (int k = 0; k < LPC_ORDER; k++) {
            const float x = lsf[static_cast<size_t>(k)] - (k == 0 ? 0.0f : decoded[k - 1]);
            for (int j = 0; j < lsf_level_counts[k]; j++) {
                const float mine = std::fabs(x - list[index[k]]), other = std::fabs(x - list[j]);
                ASSERT_TRUE(mine < other || (mine == other && index[k] <= j))
                    << "element " << k << ": took " << index[k] << ", nearer is " << j << ", " << test::seed_note(seed);
            }
            list += lsf_level_counts[k];
        }
    }
}

} // namespace
} // namespace talv

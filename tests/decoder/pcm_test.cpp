/** Conversion to 16 bits: nearest, ties to even, and -32768 for all that does not fit */
#include "decoder/pcm.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace
{

using namespace talv;

/** Alone and in any place of a group of eight */
int16_t round_one(float x)
{
    constexpr int GROUP = 8;
    float samples[GROUP + 1];
    int16_t pcm[GROUP + 1];
    std::fill_n(samples, GROUP + 1, x);
    std::fill_n(pcm, GROUP + 1, int16_t{12345});
    pcm_round(GROUP + 1, samples, pcm);
    for (int i = 0; i < GROUP; i++)
        EXPECT_EQ(pcm[i], pcm[GROUP]) << "x = " << x << ", place " << i;
    return pcm[GROUP];
}

TEST(PcmRound, TiesGoToTheEvenValue)
{
    struct Case {
        float x;
        int want;
    };
    const Case cases[] = {
        {0.0f, 0},         {-0.0f, 0},  {0.5f, 0},   {-0.5f, 0},          {0.50000006f, 1},
        {0.49999997f, 0},  {1.5f, 2},   {2.5f, 2},   {3.5f, 4},           {-1.5f, -2},
        {-2.5f, -2},       {-3.5f, -4}, {1.25f, 1},  {-1.75f, -2},        {12344.5f, 12344},
        {12345.5f, 12346}, {-0.9f, -1}, {1e-38f, 0}, {-12345.5f, -12346},
    };
    for (const Case &c : cases)
        EXPECT_EQ(round_one(c.x), c.want) << "x = " << c.x;
}

TEST(PcmRound, EdgesOfTheRange)
{
    struct Case {
        float x;
        int want;
    };
    const float infinity = std::numeric_limits<float>::infinity();
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const Case cases[] = {
        {32767.0f, 32767},       {32767.4f, 32767},       {32767.498f, 32767}, {32767.5f, -32768},
        {32768.0f, -32768},      {40000.0f, -32768},      {-32767.5f, -32768}, {-32768.0f, -32768},
        {-32768.5f, -32768},     {-32768.508f, -32768},   {-32769.0f, -32768}, {-40000.0f, -32768},
        {2147483648.0f, -32768}, {4294967297.0f, -32768}, {65541.0f, -32768},  {3e38f, -32768},
        {-3e38f, -32768},        {infinity, -32768},      {-infinity, -32768}, {nan, -32768},
        {-nan, -32768},
    };
    for (const Case &c : cases)
        EXPECT_EQ(round_one(c.x), c.want) << "x = " << c.x;
}

/** Half a step at most, and whole numbers as they are, wherever in the array they stand */
TEST(PcmRound, WholeArray)
{
    const uint64_t seed = 16;
    SCOPED_TRACE(test::seed_note(seed));
    const std::vector<float> x = test::noise(240, 32767.0, seed);
    std::vector<int16_t> pcm(241, 77);
    pcm_round(240, x.data(), pcm.data());
    for (size_t i = 0; i < 240; i++)
        ASSERT_LE(std::fabs(static_cast<double>(pcm[i]) - static_cast<double>(x[i])), 0.5) << "sample " << i;
    EXPECT_EQ(pcm[240], 77) << "wrote past the end";

    for (int v = -32768; v <= 32767; v++)
        ASSERT_EQ(round_one(static_cast<float>(v)), v);
}

} // namespace

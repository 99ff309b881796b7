/* Gains: the window's length and place, and the fourth root. */
#include "encoder/gain.h"

#include "dsp/constants.h"
#include "tests/support/signals.h"

#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

constexpr int PAST = 160; /* room before the stretch, more than any window needs */

/** Smallest multiple of P that is not below 60 */
int window_length(int P)
{
    return (60 + P - 1) / P * P;
}

TEST(SubframeRms, WindowLengths)
{
    /* One sample at a time: each of the four windows ends with its quarter and holds L samples before that end. */
    for (int P = LAG_MIN; P <= LAG_MAX; P++) {
        const int L = window_length(P);
        ASSERT_LE(L, LAG_MAX);
        const double inside = std::sqrt(std::sqrt(1e8 / L));
        for (int s = 0; s < QUARTERS; s++) {
            const int end = 60 * (s + 1);
            for (int at : {end - L - 1, end - L, end - 1, end}) {
                std::vector<float> x(PAST + FRAME_LEN + 1, 0.0f);
                x[static_cast<size_t>(PAST + at)] = 10000.0f;
                float out[QUARTERS + 1];
                out[QUARTERS] = 3.0f;
                subframe_rms(x.data() + PAST, FRAME_LEN, P, QUARTERS, out);
                EXPECT_NEAR(static_cast<double>(out[s]), at >= end - L && at < end ? inside : 0.0, 1e-4)
                    << "lag " << P << ", quarter " << s << ", sample " << at;
                EXPECT_EQ(out[QUARTERS], 3.0f) << "wrote a fifth gain";
            }
        }
    }
}

TEST(SubframeRms, FourthRootOfTheMeanSquare)
{
    for (uint64_t seed = 3600; seed < 3650; seed++) {
        test::Random random(seed);
        const int P = random.integer(LAG_MIN, LAG_MAX), L = window_length(P);
        const std::vector<float> x = test::noise(PAST + FRAME_LEN, seed % 2 == 0 ? 20000.0 : 1e-7, seed);
        float out[QUARTERS];
        subframe_rms(x.data() + PAST, FRAME_LEN, P, QUARTERS, out);
        for (int s = 0; s < QUARTERS; s++) {
            long double sum = 0.0L;
            for (int i = 60 * (s + 1) - L; i < 60 * (s + 1); i++) {
                const long double v = test::exact(x[static_cast<size_t>(PAST + i)]);
                sum += v * v;
            }
            const double want = static_cast<double>(std::sqrt(std::sqrt(sum / L)));
            /* a running float sum of up to 160 terms loses at most 160 half steps, a quarter of which is left */
            EXPECT_NEAR(static_cast<double>(out[s]) / want, 1.0, 40 * 0x1p-24)
                << "lag " << P << ", " << test::seed_note(seed);
        }
    }
}

} // namespace
} // namespace talv

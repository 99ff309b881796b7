/* The highest score, where scores are close, equal or without meaning. */
#include "encoder/lag_score.h"

#include "dsp/simd.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

constexpr int COUNT = LAG_MAX - LAG_MIN + 1;

/** S by lag, energies the other way round, as slide_energy leaves them */
struct Candidates {
    float S[COUNT] = {}, energy[COUNT];
    wide_t q = wide(-1);

    Candidates() { std::fill_n(energy, COUNT, 1.0f); }
    void set(int lag, float correlation, float lag_energy)
    {
        S[lag - LAG_MIN] = correlation;
        energy[LAG_MAX - lag] = lag_energy;
    }
    int best() { return best_lag(S, energy, LAG_MIN, LAG_MAX, &q); }
};

double score(int lag, float correlation)
{
    return (1.0 - 0.003 * lag) * static_cast<double>(correlation) * static_cast<double>(correlation);
}

TEST(BestLag, TheLastBitDecides)
{
    const uint64_t seed = 3900;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    for (int trial = 0; trial < 100; trial++) {
        const int shorter = random.integer(LAG_MIN, LAG_MAX - 1), longer = random.integer(shorter + 1, LAG_MAX);
        const float s = static_cast<float>(random.uniform(1e3, 1e7));
        /* the largest float that leaves the shorter lag behind, and the next one, which does not */
        float below = static_cast<float>(std::sqrt(score(longer, s) / (1.0 - 0.003 * shorter))) * 1.000001f;
        while (score(shorter, below) > score(longer, s))
            below = std::nextafter(below, 0.0f);
        Candidates candidates;
        candidates.set(longer, s, 1.0f);
        candidates.set(shorter, below, 1.0f);
        EXPECT_EQ(candidates.best(), longer) << "rather than " << shorter;
        EXPECT_EQ(static_cast<double>(candidates.q), static_cast<double>(s) * static_cast<double>(s));
        candidates.set(shorter, std::nextafter(below, 1e9f), 1.0f);
        EXPECT_EQ(candidates.best(), shorter) << "rather than " << longer;
    }
}

TEST(BestLag, NoEnergyIsNoScore)
{
    Candidates candidates;
    EXPECT_EQ(candidates.best(), LAG_MIN) << "of equal scores the shortest lag";
    EXPECT_EQ(candidates.q, wide(0));
    candidates.set(100, 1.0f, 4.0f);
    candidates.set(50, 1000.0f, 0.0f);
    candidates.set(60, 1000.0f, -1e-3f); /* a difference of sums can end there */
    EXPECT_EQ(candidates.best(), 100);
    EXPECT_EQ(candidates.q, wide(0.25));
}

/** 2^24 + 1 lies half way between two floats. Sixteen squares of 2^-30, added one at a time, are lost below 2^24 in double
 *  and the even one of the two is right; a sum of them beforehand would tip the balance. */
TEST(SlideEnergy, RoundsWhatOneByOneGives)
{
    constexpr int N = 240;
    std::vector<float> signal(LAG_MAX + N, 0.0f);
    float *x = signal.data() + LAG_MAX, energies[COUNT + LANES];
    x[10] = 4096.0f; /* in every window */
    std::fill_n(x + N - (LAG_MIN - 1), 16, 0x1p-15f);
    x[N - 1] = 1.0f;
    EXPECT_EQ(slide_energy(x, N, LAG_MIN, LAG_MAX, energies), 0x1p24f);
    x[N - 1] = 1.0001f;
    EXPECT_EQ(slide_energy(x, N, LAG_MIN, LAG_MAX, energies), 0x1p24f + 2.0f);
    EXPECT_EQ(energies[COUNT - 1], 0x1p24f);
}

/** Running sums of rounded squares do not know whether the energy is even, and have to be found wrong */
TEST(SlideEnergy, TiesGoToTheEvenFloat)
{
    constexpr int N = 240, AT = 100;
    std::vector<float> signal(LAG_MAX + N, 0.0f);
    float *x = signal.data() + LAG_MAX, energies[COUNT + LANES];
    x[10] = 4096.0f;
    x[N - AT] = 1.0f; /* in the windows of the shorter lags */
    EXPECT_EQ(slide_energy(x, N, LAG_MIN, LAG_MAX, energies), 0x1p24f);
    for (int lag = LAG_MAX; lag >= LAG_MIN; lag--)
        ASSERT_EQ(energies[LAG_MAX - lag], 0x1p24f) << "lag " << lag;
    x[N - AT] = 2.0f;
    slide_energy(x, N, LAG_MIN, LAG_MAX, energies);
    EXPECT_EQ(energies[LAG_MAX - AT], 0x1p24f);
    EXPECT_EQ(energies[LAG_MAX - AT + 1], 0x1p24f + 4.0f);
    x[11] = x[12] = x[N - AT] = 1.0f; /* an odd energy now */
    slide_energy(x, N, LAG_MIN, LAG_MAX, energies);
    EXPECT_EQ(energies[LAG_MAX - AT], 0x1p24f + 2.0f);
    EXPECT_EQ(energies[LAG_MAX - AT + 1], 0x1p24f + 4.0f);
}

} // namespace
} // namespace talv

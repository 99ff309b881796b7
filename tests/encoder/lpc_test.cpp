/* From a block of speech to line spectral frequencies. */
#include "encoder/lpc.h"
#include "encoder/near_roots.h"

#include "dsp/constants.h"
#include "dsp/lsf.h"
#include "dsp/trig.h"
#include "dsp/wide.h"
#include "encoder/conditioning.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

TEST(AnalysisWindow, IsTheSineRoundedToFloat)
{
    for (int i = 0; i < ANALYSIS_MAX; i++) {
        const float want = i < FRAME_LEN ? static_cast<float>(std::sin(test::PI_L * i / test::exact(FRAME_LEN))) : 0.0f;
        EXPECT_TRUE(test::same_bits(analysis_window[i], want)) << "entry " << i;
    }
    EXPECT_EQ(analysis_window[120], 1.0f);
}

TEST(WindowAutocorr, WholeNumbersAndAllOrders)
{
    std::vector<float> x(ANALYSIS_MAX), window(ANALYSIS_MAX, 1.0f), work(ANALYSIS_MAX);
    Random random(3120);
    for (float &v : x)
        v = static_cast<float>(random.integer(-50, 50));
    for (int order : {0, 2, 10, ORDER_MAX})
        for (int n : {20, 240, ANALYSIS_MAX}) {
            float r[ORDER_MAX + 2];
            r[order + 1] = 0.5f;
            window_autocorr(x.data(), n, r, order, work.data(), window.data());
            for (int lag = 0; lag <= order; lag++) {
                int sum = 0;
                for (int i = 0; i + lag < n; i++)
                    sum +=
                        static_cast<int>(x[static_cast<size_t>(i)]) * static_cast<int>(x[static_cast<size_t>(i + lag)]);
                EXPECT_EQ(r[lag], static_cast<float>(sum)) << "lag " << lag << ", order " << order << ", n " << n;
            }
            EXPECT_EQ(r[order + 1], 0.5f) << "wrote behind the last lag";
        }
}

TEST(Levinson, RoundsAtEveryStep)
{
    for (uint64_t seed = 3150; seed < 3550; seed++)
        for (int order : {2, LPC_ORDER, ORDER_MAX}) {
            const std::vector<float> x = seed % 2 == 0 ? test::noise(FRAME_LEN, 1000.0, seed)
                                                       : test::voiced(FRAME_LEN, 50.0, 60.0, 5000.0, seed);
            float r[ORDER_MAX + 1], work[FRAME_LEN], a[ORDER_MAX], want[ORDER_MAX] = {};
            window_autocorr(x.data(), FRAME_LEN, r, order, work, analysis_window);
            float E = r[0];
            for (int i = 0; i < order; i++) {
                float t = r[i + 1], next[ORDER_MAX];
                for (int j = 0; j < i; j++)
                    t = rounded(wide(t) + wide(r[i - j]) * wide(want[j]));
                const double k = wide(next[i] = -t / E);
                for (int j = 0; j < i; j++)
                    next[j] = rounded(wide(want[j]) + k * wide(want[i - 1 - j]));
                std::copy_n(next, i + 1, want);
                E = rounded((1.0 - k * k) * wide(E));
            }
            ASSERT_TRUE(test::same_bits(levinson(r, order, a), E)) << test::seed_note(seed) << ", order " << order;
            ASSERT_TRUE(test::same_bits(a, want, order)) << test::seed_note(seed) << ", order " << order;
        }
}

TEST(Levinson, StopsWhenNothingIsLeftToPredict)
{
    float a[LPC_ORDER];
    float constant[LPC_ORDER + 1], impossible[LPC_ORDER + 1] = {1.0f, 0.5f, 2.0f};
    std::fill(std::begin(constant), std::end(constant), 1.0f);
    std::fill(std::begin(a), std::end(a), 9.0f);
    EXPECT_EQ(levinson(constant, LPC_ORDER, a), 0.0f);
    for (float v : a)
        EXPECT_EQ(v, 0.0f) << "no stage was finished";

    /* |r[2]| > r[0] is no autocorrelation: the first stage stands, the second gives a negative error */
    EXPECT_LT(levinson(impossible, LPC_ORDER, a), 0.0f);
    EXPECT_EQ(a[0], -0.5f);
    for (int k = 1; k < LPC_ORDER; k++)
        EXPECT_EQ(a[k], 0.0f) << k;
}

TEST(ChebEval, EqualsTheCosineSeries)
{
    for (uint64_t seed = 3160; seed < 3170; seed++)
        for (int n = 1; n <= 9; n++) {
            const std::vector<float> c = test::noise(n, 10.0, seed);
            for (int i = 0; i <= 200; i++) {
                const float x = static_cast<float>(i - 100) / 100.0f;
                const long double w = std::acos(test::exact(x));
                long double want = 0.0L;
                for (int k = 0; k < n; k++)
                    want += test::exact(c[static_cast<size_t>(k)]) * std::cos(k * w);
                /* near x = +-1 the recurrence adds up its roundings twice: n^2/2 steps of values up to 10 n */
                ASSERT_NEAR(static_cast<double>(cheb_eval(x, c.data(), n)), static_cast<double>(want), 1e-4)
                    << "x " << x << ", terms " << n << ", " << test::seed_note(seed);
            }
        }
}

TEST(LpcToLsf, FlatSpectrumHasEvenlySpacedLsfs)
{
    for (int order : {2, 4, LPC_ORDER, ORDER_MAX}) {
        const float a[ORDER_MAX] = {};
        float lsf[ORDER_MAX];
        ASSERT_EQ(lpc_to_lsf(lsf, a, order), 1) << "order " << order;
        for (int k = 0; k < order; k++)
            EXPECT_NEAR(static_cast<double>(lsf[k]), 3.14159265 * (k + 1) / (order + 1), 1e-4) << "order " << order;
    }
    const float a[18] = {};
    float lsf[18];
    EXPECT_EQ(lpc_to_lsf(lsf, a, 17), -1);
    EXPECT_EQ(lpc_to_lsf(lsf, a, 18), -1);
}

TEST(LpcToLsf, RootsAreAsExactAsASixteenthOfAStepMakesThem)
{
    /* Four halvings of a step, then a straight line through the ends of the bracket: with an even spread, where the
     * coefficients' own rounding counts least, that leaves 4e-7 radian on average, three halvings 1.5e-6, five 2e-7.   */
    double mean = 0.0;
    constexpr int RUNS = 100;
    for (uint64_t seed = 3180; seed < 3180 + RUNS; seed++) {
        Random random(seed);
        std::vector<float> lsf(LPC_ORDER);
        for (size_t k = 0; k < LPC_ORDER; k++)
            lsf[k] = static_cast<float>(3.14159265 * static_cast<double>(k + 1) / 11.0 + random.uniform(-0.05, 0.05));
        float a[LPC_ORDER], found[LPC_ORDER];
        ASSERT_EQ(lsf_to_lpc(LPC_ORDER, lsf.data(), a), 0);
        ASSERT_EQ(lpc_to_lsf(found, a, LPC_ORDER), 1) << test::seed_note(seed);
        EXPECT_TRUE(test::all_near(found, lsf.data(), LPC_ORDER, 4e-6)) << test::seed_note(seed);
        for (size_t k = 0; k < LPC_ORDER; k++)
            mean += std::fabs(static_cast<double>(found[k]) - static_cast<double>(lsf[k])) / (RUNS * LPC_ORDER);
    }
    EXPECT_LT(mean, 8e-7);
    EXPECT_GT(mean, 3e-7);
}

TEST(LpcToLsf, RootsExactlyAtAnEndOfAStep)
{
    /* F_P = 2x - 2 has its root where the walk starts: the product of 0 counts as a change of sign. F_Q = 2x - 1. */
    const float second[2] = {-1.5f, 0.5f};
    float lsf[4];
    ASSERT_EQ(lpc_to_lsf(lsf, second, 2), 1);
    EXPECT_EQ(lsf[0], 0.0f);
    EXPECT_NEAR(lsf[1], 1.0471976f, 1e-6f);

    /* (1 - z^-1)^2 (1 + z^-2 / 2): F_P = 4x^2 - 5x + 1 and F_Q = 4x^2 - 3x - 1 share the root x = 1. The walk must come
     * off it: it goes on from below, and 1/4 and -1/4 are found.                                                      */
    const float fourth[4] = {-2.0f, 1.5f, -1.0f, 0.5f};
    const double want[4] = {0.0, 0.0, 1.3181161, 1.8234766};
    ASSERT_EQ(lpc_to_lsf(lsf, fourth, 4), 1);
    EXPECT_TRUE(test::all_near(lsf, want, 4, 1e-5));
}

/** The Chebyshev series of both polynomials */
void plain_series(const float *a, float (*series)[LPC_ORDER / 2 + 1])
{
    constexpr int h = LPC_ORDER / 2;
    float p[h + 1] = {1.0f}, q[h + 1] = {1.0f};
    for (int i = 1; i <= h; i++) {
        p[i] = a[i - 1] + a[LPC_ORDER - i];
        q[i] = a[i - 1] - a[LPC_ORDER - i];
    }
    for (int i = 1; i <= h; i++) {
        p[i] -= p[i - 1];
        q[i] += q[i - 1];
    }
    for (int j = 0; j <= h; j++) {
        series[0][j] = j == 0 ? p[h] : 2.0f * p[h - j];
        series[1][j] = j == 0 ? q[h] : 2.0f * q[h - j];
    }
}

/** The walk, the bisection and the secant one point after the other, every value rounded as it comes */
int walk_plainly(const float *a, float *lsf)
{
    constexpr int h = LPC_ORDER / 2;
    const float s = 0.0314107575f, c = -0.0294369981f;
    float series[2][h + 1];
    plain_series(a, series);
    int count = 0;
    const auto F = [&](float x) { return cheb_eval(x, series[count % 2], h + 1); };
    const auto product = [](float y, float z) { return static_cast<double>(y) * static_cast<double>(z); };
    float x = 1.0f, last = 2.0f, now = F(x);
    while (count < LPC_ORDER && x > -1.0f) {
        const float from = x;
        float before = now;
        x = std::max(-1.0f, static_cast<float>(static_cast<double>(x) -
                                               (product(x, x) * static_cast<double>(c) + static_cast<double>(s))));
        now = F(x);
        if (product(now, before) > 0.0)
            continue;
        float d = from - x;
        for (int round = 0; round < 4; round++) {
            d *= 0.5f;
            const float middle = F(x + d);
            if (product(middle, now) > 0.0) {
                x += d;
                now = middle;
            } else {
                before = middle;
            }
        }
        float root = x + d;
        if (before != now)
            root = static_cast<float>(static_cast<double>(x) +
                                      product(d, now) / (static_cast<double>(now) - static_cast<double>(before)));
        lsf[count++] = static_cast<float>(acos_wide(static_cast<double>(root)));
        last = root >= last ? x - d : root;
        x = last;
        now = F(x);
    }
    return count == LPC_ORDER ? 1 : -2;
}

/* Where the series is nearly 0, its roundings decide its sign: roots at the very ends of steps, and packed closely, on
 * either side of a point where signs are looked at. */
TEST(LpcToLsf, EqualsThePlainWalk)
{
    for (uint64_t seed = 3400; seed < 6400; seed++) {
        Random random(seed);
        float lsf[LPC_ORDER], a[LPC_ORDER], got[LPC_ORDER], want[LPC_ORDER];
        const bool at_grid = seed % 3 == 0;
        const int packed = at_grid ? 3 : random.integer(0, LPC_ORDER);
        const double centre = at_grid ? PI * random.integer(6, 56) / (ROOT_GRID - 1) : random.uniform(0.3, 2.8);
        const double reach = std::pow(10.0, at_grid ? random.uniform(-3.0, -1.5) : random.uniform(-6.0, -1.0));
        for (int k = 0; k < LPC_ORDER; k++)
            lsf[k] =
                static_cast<float>(k < packed ? centre + random.uniform(-reach, reach) : random.uniform(0.02, 3.1));
        std::sort(lsf, lsf + LPC_ORDER);
        if (seed % 2 == 0) { /* the first root at the end of one of the first steps */
            double end = 1.0;
            for (int step = random.integer(1, 60); step > 0; step--)
                end = static_cast<double>(static_cast<float>(end - (end * end * -0.0294369981 + 0.0314107575)));
            const double first = std::acos(end);
            for (int k = 0; k < LPC_ORDER; k++)
                lsf[k] = static_cast<float>(first + (static_cast<double>(lsf[k]) - static_cast<double>(lsf[0])) *
                                                        (3.1 - first) / 3.1);
        }
        lsf_to_lpc(LPC_ORDER, lsf, a);
        const int result = walk_plainly(a, want);
        ASSERT_EQ(lpc_to_lsf(got, a, LPC_ORDER), result) << test::seed_note(seed);
        if (result == 1) {
            ASSERT_TRUE(test::same_bits(got, want, LPC_ORDER)) << test::seed_note(seed);
        }
    }
}

#ifndef TALV_SIMD_PLAIN
TEST(NearRoots, SignsAreSureOutsideTheStretches)
{
    constexpr int RUNS = 2000;
    int found = 0;
    for (uint64_t seed = 6400; seed < 6400 + RUNS; seed++) {
        Random random(seed);
        float lsf[LPC_ORDER], a[LPC_ORDER], c[2][LPC_ORDER / 2 + 1];
        const int packed = random.integer(0, LPC_ORDER - 3); /* three on either side of a point of the grid */
        const double centre = PI * random.integer(6, 56) / (ROOT_GRID - 1), apart = random.uniform(0.001, 0.1);
        for (int k = 0; k < LPC_ORDER; k++)
            lsf[k] =
                static_cast<float>(k < packed       ? centre * (k + 1) / (packed + 1)
                                   : k < packed + 3 ? centre + apart * (k - packed - random.uniform(0.8, 1.2))
                                                    : PI - (PI - centre) * (LPC_ORDER - k) / (LPC_ORDER - packed - 2));
        std::sort(lsf, lsf + LPC_ORDER);
        lsf_to_lpc(LPC_ORDER, lsf, a);
        plain_series(a, c);
        Series series[2];
        for (int s = 0; s < 2; s++)
            for (int k = 0; k <= LPC_ORDER / 2; k++)
                series[s].w[k] = wide(series[s].c[k] = c[s][k]);
        NearRoots near;
        if (!find_near_roots(series, &near))
            continue;
        found++;
        for (int s = 0; s < 2; s++)
            for (int j = 0; j <= NearRoots::PER_SERIES; j++)
                for (int i = 0; i < 40; i++) { /* between two stretches, more of them near the ends */
                    const float high = std::min(near.low_before[s][j], 1.0f), low = std::max(near.high[s][j], -1.0f);
                    const double share = std::pow(random.uniform(0.0, 1.0), 8.0);
                    const float way = (high - low) * static_cast<float>(share);
                    const float x = std::clamp(i % 2 == 0 ? high - way : low + way, low, high);
                    const float F = cheb_eval(x, c[s], LPC_ORDER / 2 + 1);
                    ASSERT_TRUE(j % 2 == 0 ? F > 0.0f : F < 0.0f) << test::seed_note(seed) << " x " << x;
                }
    }
    EXPECT_GT(found, RUNS / 4);
}
#endif

TEST(Getlsf2, RefusesWhatIsTooLarge)
{
    const std::vector<float> x(ANALYSIS_MAX + 1, 1.0f);
    float lsf[ORDER_MAX + 2];
    EXPECT_EQ(getlsf2(x.data(), ANALYSIS_MAX + 1, LPC_ORDER, lsf), -1);
    EXPECT_EQ(getlsf2(x.data(), FRAME_LEN, ORDER_MAX + 1, lsf), -2);
    EXPECT_EQ(getlsf2(x.data(), FRAME_LEN, ORDER_MAX + 2, lsf), -2);
    EXPECT_EQ(getlsf2(x.data(), ANALYSIS_MAX + 1, ORDER_MAX + 2, lsf), -1) << "the length is tested first";
}

TEST(Getlsf2, SilenceIsFlat)
{
    std::vector<float> silence(FRAME_LEN, 0.0f);
    for (int pass = 0; pass < 2; pass++) {
        float lsf[LPC_ORDER];
        ASSERT_EQ(getlsf2(silence.data(), FRAME_LEN, LPC_ORDER, lsf), 0);
        for (int k = 0; k < LPC_ORDER; k++)
            EXPECT_NEAR(static_cast<double>(lsf[k]), 3.14159265 * (k + 1) / 11.0, 1e-4) << "pass " << pass;
        add_floor_noise(FRAME_LEN, silence.data()); /* second pass: the floor, some 1e-12 of energy, is below 1e-6 */
    }
}

TEST(Getlsf2, EnergyIsRaisedToAFloorOfOneMillionth)
{
    const std::vector<float> x = test::voiced(FRAME_LEN, 40.0, 44.0, 2000.0, 3425);
    float r[LPC_ORDER + 1], work[FRAME_LEN], lsf[LPC_ORDER], scaled[LPC_ORDER];
    window_autocorr(x.data(), FRAME_LEN, r, LPC_ORDER, work, analysis_window);
    ASSERT_EQ(getlsf2(x.data(), FRAME_LEN, LPC_ORDER, lsf), 0);
    /* the faintest power of two above the floor still has the same envelope, the next one has not */
    int exponent = 0;
    while (std::ldexp(r[0], 2 * (exponent - 1)) >= 1e-6f)
        exponent--;
    for (int below = 0; below < 2; below++) {
        std::vector<float> faint = x;
        for (float &v : faint)
            v = std::ldexp(v, exponent - below);
        ASSERT_EQ(getlsf2(faint.data(), FRAME_LEN, LPC_ORDER, scaled), 0);
        EXPECT_EQ(static_cast<bool>(test::same_bits(scaled, lsf, LPC_ORDER)), below == 0) << "2^" << exponent - below;
    }
}

TEST(Getlsf2, EnvelopeOfAKnownFilterIsFound)
{
    /* LSFs of the filter that made the signal, from 240 samples of it: a statistical estimate */
    const float lsf[LPC_ORDER] = {0.25f, 0.40f, 0.75f, 0.95f, 1.30f, 1.55f, 1.90f, 2.15f, 2.50f, 2.80f};
    float a[LPC_ORDER];
    lsf_to_lpc(LPC_ORDER, lsf, a);
    double mean[LPC_ORDER] = {};
    constexpr int RUNS = 40;
    for (uint64_t seed = 3540; seed < 3540 + RUNS; seed++) {
        const std::vector<float> e = test::noise(1000, 100.0, seed);
        std::vector<float> s(1000, 0.0f);
        for (size_t i = LPC_ORDER; i < s.size(); i++) {
            double v = static_cast<double>(e[i]);
            for (size_t j = 0; j < LPC_ORDER; j++)
                v -= static_cast<double>(a[j]) * static_cast<double>(s[i - 1 - j]);
            s[i] = static_cast<float>(v);
        }
        float found[LPC_ORDER];
        ASSERT_EQ(getlsf2(s.data() + 700, FRAME_LEN, LPC_ORDER, found), 0) << test::seed_note(seed);
        for (int k = 0; k < LPC_ORDER; k++) {
            EXPECT_NEAR(found[k], lsf[k], 0.2f) << "element " << k << ", " << test::seed_note(seed);
            mean[k] += static_cast<double>(found[k]) / RUNS;
        }
    }
    for (int k = 0; k < LPC_ORDER; k++)
        EXPECT_NEAR(mean[k], static_cast<double>(lsf[k]), 0.03) << "element " << k;
}

TEST(Getlsf2, PureToneHidesRootsInOneStepOfTheWalk)
{
    constexpr int PHASES = 16;
    const auto failures = [](double frequency_hz, double amplitude) {
        int count = 0;
        for (int p = 0; p < PHASES; p++) {
            float lsf[LPC_ORDER];
            const std::vector<float> x = test::tone(FRAME_LEN, frequency_hz, amplitude, 2.0 * 3.14159265 * p / PHASES);
            const int result = getlsf2(x.data(), FRAME_LEN, LPC_ORDER, lsf);
            EXPECT_TRUE(result == 0 || result == -4) << frequency_hz << " Hz: " << result;
            count += result == -4 ? 1 : 0;
            if (result == 0) { /* LSFs gather around a spectral line */
                const float w = static_cast<float>(2.0 * 3.14159265 * frequency_hz / 8000.0);
                EXPECT_GE(std::count_if(lsf, lsf + LPC_ORDER, [w](float v) { return std::fabs(v - w) < 0.1f; }), 2)
                    << frequency_hz << " Hz at " << amplitude << ", phase " << p;
                for (int k = 1; k < LPC_ORDER; k++)
                    EXPECT_GE(lsf[k] - lsf[k - 1], 0.04f - 1e-6f) << frequency_hz << " Hz, element " << k;
            }
        }
        return count;
    };
    for (double amplitude : {2000.0, 16000.0}) {
        /* four LSFs within some 0.03 radian of the tone: too close where the steps are wide, in the middle of the band */
        for (double frequency_hz : {1785.0, 1825.0, 2180.0, 2575.0})
            EXPECT_GE(failures(frequency_hz, amplitude), PHASES / 2) << frequency_hz << " Hz at " << amplitude;
        for (double frequency_hz = 100.0; frequency_hz <= 1300.0; frequency_hz += 100.0)
            EXPECT_EQ(failures(frequency_hz, amplitude), 0) << frequency_hz << " Hz at " << amplitude;
        for (double frequency_hz = 2850.0; frequency_hz <= 3850.0; frequency_hz += 100.0)
            EXPECT_EQ(failures(frequency_hz, amplitude), 0) << frequency_hz << " Hz at " << amplitude;
    }
}

} // namespace
} // namespace talv

/* From PCM to the conditioned signal and its residual. */
#include "encoder/conditioning.h"

#include "dsp/as_codebook.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cfloat>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

using test::Random;

/** The pre-filter over any number of whole blocks, state carried */
std::vector<float> prefilter(const std::vector<int16_t> &pcm, float *state)
{
    std::vector<float> out(pcm.size());
    for (size_t at = 0; at < pcm.size(); at += FRAME_LEN)
        iir_prefilter(prefilter_den, prefilter_num, pcm.data() + at, out.data() + at, state, FRAME_LEN);
    return out;
}

/** Response that the coefficients stand for */
std::complex<long double> response(double frequency_hz)
{
    std::complex<long double> num = 0.0L, den = 0.0L;
    for (int k = 0; k < PREFILTER_TERMS; k++) {
        const long double angle = -2.0L * test::PI_L * test::exact(frequency_hz) * k / 8000.0L;
        const std::complex<long double> turn = {std::cos(angle), std::sin(angle)};
        num += test::exact(prefilter_num[k]) * turn;
        den += test::exact(prefilter_den[k]) * turn;
    }
    return num / den;
}

double db(long double ratio)
{
    return static_cast<double>(20.0L * std::log10(ratio));
}

TEST(Prefilter, ResponseOfTheCoefficients)
{
    EXPECT_NEAR(static_cast<double>(response(0.0).real()), -0.059, 0.0005) << "the sign is inverted at 0 Hz";
    EXPECT_NEAR(db(std::abs(response(66.0))), -3.0, 0.1);
    EXPECT_NEAR(db(std::abs(response(100.0))), -0.2, 0.05);
    double deepest_hz = 0.0;
    for (double f = 10.0; f < 66.0; f += 0.1)
        if (std::abs(response(f)) < std::abs(response(deepest_hz)))
            deepest_hz = f;
    EXPECT_NEAR(deepest_hz, 38.0, 0.5) << "the notch";
    EXPECT_LT(db(std::abs(response(deepest_hz))), -60.0);
    for (double f = 150.0; f <= 4000.0; f += 1.0)
        ASSERT_LE(std::fabs(db(std::abs(response(f)))), 0.05) << f << " Hz";
}

TEST(Prefilter, EqualsItsDifferenceEquation)
{
    for (uint64_t seed = 3000; seed < 3010; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        const double amplitude = seed % 2 == 0 ? 32767.0 : 200.0;
        const std::vector<int16_t> pcm = test::to_pcm(test::noise(4 * FRAME_LEN, amplitude, seed));
        float state[5] = {};
        const std::vector<float> got = prefilter(pcm, state);

        float w[5] = {}; /* w[k] is k samples old and rounded; the newest enters the output unrounded */
        std::vector<float> want(pcm.size());
        double largest = 0.0;
        for (size_t i = 0; i < pcm.size(); i++) {
            long double now = pcm[i];
            for (int k = 1; k <= 4; k++)
                now -= test::exact(w[k]) * test::exact(prefilter_den[k]);
            long double out = now * test::exact(prefilter_num[0]);
            for (int k = 1; k <= 4; k++)
                out += test::exact(w[k]) * test::exact(prefilter_num[k]);
            want[i] = static_cast<float>(out) + floor_noise[i % FRAME_LEN];
            for (int k = 4; k >= 2; k--)
                w[k] = w[k - 1];
            w[1] = static_cast<float>(now);
            largest = std::max(largest, std::fabs(static_cast<double>(now)));
            if (i % FRAME_LEN == FRAME_LEN - 1)
                for (int k = 1; k <= 3; k++)
                    w[k] += floor_noise[k];
        }
        /* sums in double against long double: 1e-15 of the memory's size, and half a step of the result */
        EXPECT_TRUE(test::all_near(got.data(), want.data(), static_cast<int>(got.size()), largest * 1e-14 + 2e-3));
        for (int k = 1; k <= 4; k++)
            EXPECT_NEAR(static_cast<double>(state[k]), static_cast<double>(w[k]), largest * 1e-6) << "memory " << k;
    }
}

/** A memory halfway between two floats becomes the even one, whichever way the filter is run */
TEST(Prefilter, TiesGoToTheEvenFloat)
{
    const float den[PREFILTER_TERMS] = {1.0f, -0x1p-10f}, num[PREFILTER_TERMS] = {0.0f, 1.0f, -1.0f};
    const int16_t pcm[FRAME_LEN] = {16384, 16384};
    float out[FRAME_LEN], state[5] = {0.0f, 1.0f};
    iir_prefilter(den, num, pcm, out, state, FRAME_LEN);
    /* memory: 16384 and half a float's step, which is rounded away, then 16384 + 16 */
    EXPECT_FLOAT_EQ(out[2], 16.0f + floor_noise[2]);
}

TEST(Prefilter, DigitalSilenceLeavesOnlyTheFloor)
{
    const std::vector<int16_t> silence(FRAME_LEN, 0);
    float state[5] = {};
    const std::vector<float> first = prefilter(silence, state);
    EXPECT_TRUE(test::same_bits(first.data(), floor_noise, FRAME_LEN)) << "a filter at rest adds nothing";
    EXPECT_TRUE(test::same_bits(state + 1, &floor_noise[1], 3));
    EXPECT_EQ(state[4], 0.0f) << "element 4 takes no floor";
}

TEST(Prefilter, MemoryNeverDecaysIntoSubnormals)
{
    constexpr uint64_t SEED = 3020;
    float state[5] = {};
    prefilter(test::to_pcm(test::noise(20 * FRAME_LEN, 32767.0, SEED)), state);
    float largest = 0.0f;
    for (int k = 1; k <= 4; k++)
        largest = std::max(largest, std::fabs(state[k]));
    EXPECT_GT(largest, 1e5f) << "the loud passage is in the memory";

    const std::vector<int16_t> silence(FRAME_LEN, 0);
    for (int block = 0; block < 400; block++) {
        const std::vector<float> out = prefilter(silence, state);
        if (block < 15) /* the slowest pole, 0.9865, loses a factor of 26 a block */
            continue;
        for (int k = 1; k <= 4; k++) {
            ASSERT_GT(std::fabs(state[k]), 100.0f * FLT_MIN) << "memory " << k << ", block " << block;
            ASSERT_LT(std::fabs(state[k]), 1e-5f) << "memory " << k << ", block " << block;
        }
        for (float v : out) {
            ASSERT_GT(std::fabs(v), FLT_MIN) << "block " << block;
            ASSERT_LT(std::fabs(v), 1e-5f) << "block " << block;
        }
    }
}

TEST(Prefilter, ConstantInputIsRemovedByFilterAndTrackerTogether)
{
    const std::vector<int16_t> pcm(FRAME_LEN, 10000);
    float state[5] = {}, mean = 0.0f;
    double level = 0.0, left = 0.0, worst = 0.0;
    for (int block = 0; block < 60; block++) {
        std::vector<float> x = prefilter(pcm, state);
        if (block >= 40)
            for (float v : x)
                level += static_cast<double>(v) / (20.0 * FRAME_LEN);
        dc_tracker(FRAME_LEN, &mean, x.data());
        if (block >= 40)
            for (float v : x) {
                left += static_cast<double>(v) / (20.0 * FRAME_LEN);
                worst = std::max(worst, std::fabs(static_cast<double>(v)));
            }
    }
    EXPECT_NEAR(level, -590.0, 10.0);
    EXPECT_NEAR(left, 0.0, 2.0);
    /* 8e8 in the memory has a step of 64, which comes out as a noise of about 30 */
    EXPECT_NEAR(static_cast<double>(state[1]), 8e8, 0.3e8);
    EXPECT_LT(worst, 60.0);
    EXPECT_GT(worst, 5.0);
}

TEST(DcTracker, SubtractsAStraightLineFromMeanToMean)
{
    for (uint64_t seed = 3030; seed < 3040; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        Random random(seed);
        const double offset = random.uniform(-500.0, 500.0);
        std::vector<float> x = test::noise(FRAME_LEN, 300.0, seed + 100);
        for (float &v : x)
            v = static_cast<float>(static_cast<double>(v) + offset);
        const std::vector<float> before = x;
        const float old_mean = static_cast<float>(random.uniform(-500.0, 500.0));
        float mean = old_mean;
        dc_tracker(FRAME_LEN, &mean, x.data());

        long double sum = 0.0L;
        for (float v : before)
            sum += test::exact(v);
        const long double new_mean = sum / FRAME_LEN;
        EXPECT_NEAR(static_cast<double>(mean), static_cast<double>(new_mean), 1e-4) << "of the block as it came";
        EXPECT_TRUE(test::same_bits(x[0], before[0] - old_mean)) << "the first sample loses the old mean";
        std::vector<long double> want(FRAME_LEN);
        for (size_t i = 0; i < want.size(); i++)
            want[i] = test::exact(before[i]) -
                      (test::exact(old_mean) + (new_mean - test::exact(old_mean)) * test::exact(i) / FRAME_LEN);
        EXPECT_TRUE(test::all_near(x.data(), want.data(), FRAME_LEN, 500.0 * FRAME_LEN * 0x1p-24));
    }
}

TEST(LpcResidual, EqualsTheSumAndReadsTheBlockBefore)
{
    for (uint64_t seed = 3050; seed < 3060; seed++) {
        SCOPED_TRACE(test::seed_note(seed));
        const std::vector<float> signal = test::noise(LPC_ORDER + 60, 1000.0, seed);
        const std::vector<float> a = test::noise(LPC_ORDER, 2.0, seed + 100);
        const float *x = signal.data() + LPC_ORDER;
        std::vector<float> got(61, 4.0f), want(60);
        for (int i = 0; i < 60; i++) {
            double sum = static_cast<double>(x[i]);
            for (int j = 0; j < LPC_ORDER; j++)
                sum += static_cast<double>(a[static_cast<size_t>(j)]) * static_cast<double>(x[i - 1 - j]);
            want[static_cast<size_t>(i)] = static_cast<float>(sum);
        }
        lpc_residual(LPC_ORDER, 60, x, a.data(), got.data());
        /* one rounding of a sum of about 10^4 */
        EXPECT_TRUE(test::all_near(got.data(), want.data(), 60, 1e-3));
        EXPECT_EQ(got.back(), 4.0f) << "wrote behind the block";
    }
}

TEST(FloorNoise, ComesFromTheAmplitudeCodebook)
{
    const double first[8] = {3.024e-7, 4.94e-8, 3.94e-8, 2.34e-8, 1.81e-8, 1.94e-8, 1.73e-8, 1.64e-8};
    double mean = 0.0;
    for (int i = 0; i < FRAME_LEN; i++) {
        const double rounded = std::floor(static_cast<double>(as_codebook[i]) * 1000.0 + 0.5) / 1000.0;
        const double want = i < 8 ? first[i] : rounded * 1e-7;
        EXPECT_NEAR(static_cast<double>(floor_noise[i]) / want, 1.0, 1e-7) << "entry " << i;
        EXPECT_GE(floor_noise[i], 1.59e-8f) << "entry " << i;
        EXPECT_LE(floor_noise[i], 3.024e-7f) << "entry " << i;
        mean += static_cast<double>(floor_noise[i]) / FRAME_LEN;
    }
    EXPECT_NEAR(mean, 8.13e-8, 0.8e-8);
}

} // namespace
} // namespace talv

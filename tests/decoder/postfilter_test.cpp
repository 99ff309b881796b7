/** Post-filter: worked coefficients, the gains it promises at both ends of the band, and its memory */
#include "decoder/postfilter.h"
#include "dsp/lsf.h"
#include "dsp/wide.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

namespace
{

using namespace talv;

constexpr int IN_PAST = LPC_ORDER + 1, OUT_PAST = LPC_ORDER;

struct Coefficients {
    float num[LPC_ORDER + 1], den[LPC_ORDER];
};

Coefficients weighted(const float *lpc)
{
    Coefficients c;
    for (int j = 0; j < LPC_ORDER; j++) {
        c.num[j] = lpc[j] * pf_zero_weight[j];
        c.den[j] = lpc[j] * pf_pole_weight[j];
    }
    c.num[LPC_ORDER] = std::nanf(""); /* nothing needs to stand there */
    return c;
}

/** Filter a signal from silence, in pieces of the lengths given over and over */
std::vector<float> filtered(const std::vector<float> &lpc, const std::vector<float> &x, const std::vector<int> &pieces)
{
    constexpr size_t BEYOND = 3; /* whole groups of four are read and written */
    std::vector<float> in(IN_PAST, 0.0f), out(OUT_PAST + x.size() + BEYOND + 1, 0.0f);
    in.insert(in.end(), x.begin(), x.end());
    in.resize(in.size() + BEYOND);
    out.back() = -7.0f;
    size_t at = 0;
    for (size_t i = 0; at < x.size(); i++) {
        Coefficients c = weighted(lpc.data());
        const int count = std::min(pieces[i % pieces.size()], static_cast<int>(x.size() - at));
        postfilter(LPC_ORDER, c.num, c.den, count, in.data() + IN_PAST + at, out.data() + OUT_PAST + at);
        at += static_cast<size_t>(count);
    }
    EXPECT_EQ(out.back(), -7.0f) << "wrote past the end";
    return {out.begin() + OUT_PAST, out.begin() + OUT_PAST + static_cast<std::ptrdiff_t>(x.size())};
}

/** A stable envelope: LSFs at random, at least 0.05 radians apart */
std::vector<float> random_lpc(test::Random &random)
{
    std::vector<float> lsf(LPC_ORDER), lpc(LPC_ORDER);
    for (float &w : lsf)
        w = static_cast<float>(random.uniform(0.1, 3.0));
    std::sort(lsf.begin(), lsf.end());
    for (size_t k = 1; k < lsf.size(); k++)
        lsf[k] = std::max(lsf[k], lsf[k - 1] + 0.05f);
    if (lsf.back() > 3.1f)
        for (float &w : lsf)
            w *= 3.1f / lsf.back();
    EXPECT_EQ(lsf_to_lpc(LPC_ORDER, lsf.data(), lpc.data()), 0);
    return lpc;
}

TEST(Postfilter, BandwidthFactors)
{
    for (int j = 0; j < LPC_ORDER; j++) {
        EXPECT_NEAR(static_cast<double>(pf_zero_weight[j]), std::pow(0.6, j + 1), 5.1e-7) << "power " << j + 1;
        EXPECT_NEAR(static_cast<double>(pf_pole_weight[j]), std::pow(0.9, j + 1), 5.1e-7) << "power " << j + 1;
    }
    EXPECT_EQ(pf_zero_weight[9], 0.006047f); /* six decimals, not the power itself */
    EXPECT_EQ(pf_pole_weight[8], 0.38742f);
}

/** The whole response: A(z/0.6) T(z) / A(z/0.9), worked out directly at points around the circle; 1 at 0 Hz and one
 *  half at 4000 Hz */
TEST(Postfilter, FrequencyResponse)
{
    const uint64_t seed = 46;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    std::vector<float> impulse(1024, 0.0f);
    impulse[0] = 1.0f;
    for (int trial = 0; trial < 40; trial++) {
        const std::vector<float> lpc = random_lpc(random);
        const std::vector<float> h = filtered(lpc, impulse, {1024});
        const auto poly = [&lpc](const float *weight,
                                 std::complex<double> z1) { /* z1 is 1/z */
                                                            std::complex<double> v = 1.0, power = 1.0;
                                                            for (size_t j = 0; j < LPC_ORDER; j++)
                                                                v += static_cast<double>(lpc[j]) *
                                                                     static_cast<double>(weight[j]) * (power *= z1);
                                                            return v;
        };
        const double G = (poly(pf_pole_weight, 1.0) / poly(pf_zero_weight, 1.0)).real();
        const double H = 0.5 * (poly(pf_pole_weight, -1.0) / poly(pf_zero_weight, -1.0)).real();
        for (int i = 0; i <= 64; i++) {
            const std::complex<double> z1 = std::polar(1.0, -static_cast<double>(test::PI_L) * i / 64.0);
            const std::complex<double> want =
                poly(pf_zero_weight, z1) / poly(pf_pole_weight, z1) * (0.5 * (G + H) + 0.5 * (G - H) * z1);
            if (i % 64 == 0) {
                ASSERT_NEAR(want.real(), i == 0 ? 1.0 : 0.5, 1e-9) << "whatever the envelope";
            }
            std::complex<double> got = 0.0, power = 1.0;
            for (const float v : h) {
                got += static_cast<double>(v) * power;
                power *= z1;
            }
            ASSERT_LT(std::abs(got - want), 1e-4 * (1.0 + std::abs(want)))
                << "trial " << trial << ", " << i * 4000 / 64 << " Hz: got " << got << ", wanted " << want;
        }
    }
}

/** The filter sample by sample, as it is defined: zeros in rising order, then poles from the oldest output on */
float plain_sample(const PostfilterTaps &taps, const float *in, const float *out)
{
    wide_t v = wide(taps.zero[0]) * wide(in[0]);
    for (int j = 1; j < PF_TAPS; j++)
        v += wide(taps.zero[j]) * wide(in[-j]);
    for (int j = LPC_ORDER - 1; j >= 0; j--)
        v -= wide(taps.pole[j]) * wide(out[-1 - j]);
    return rounded(v);
}

TEST(Postfilter, RoundsLikeTheDefinition)
{
    struct Case {
        const char *what;
        float zero0, zero1, pole0, x;
    };
    const Case cases[] = {
        {"halfway, to the even float below", 1.0f, 0x1p-24f, 0.0f, 1.0f},
        {"halfway, to the even float above", 1.0f + 0x1p-23f, 0x1p-24f, 0.0f, 1.0f},
        {"halfway, negative", 1.0f, 0x1p-24f, 0.0f, -1.0f},
        {"below the normal floats", 1.0f, 0.3f, 0.77f, 0x1.8p-126f},
        {"dying out", 1.0f, 0.5f, -0.25f, 1e-30f},
        {"beyond the largest float", 3e38f, 1.0f, 0.5f, 3.0f},
    };
    for (const Case &c : cases) {
        PostfilterTaps taps = {};
        taps.zero[0] = c.zero0;
        taps.zero[1] = c.zero1;
        taps.pole[0] = c.pole0;
        for (const int count : {7, 80, 93}) {
            std::vector<float> in(static_cast<size_t>(IN_PAST + count + 3)), out(static_cast<size_t>(OUT_PAST + count));
            std::fill_n(in.begin() + IN_PAST, 5, c.x);
            std::vector<float> want = out;
            out.resize(out.size() + 3);
            for (int q = 0; q < count; q++)
                want[static_cast<size_t>(OUT_PAST + q)] =
                    plain_sample(taps, in.data() + IN_PAST + q, want.data() + OUT_PAST + q);
            postfilter_run(&taps, count, in.data() + IN_PAST, out.data() + OUT_PAST);
            for (size_t i = 0; i < want.size(); i++)
                ASSERT_TRUE(out[i] == want[i] || (std::isnan(out[i]) && std::isnan(want[i])))
                    << c.what << ", sample " << i << ": " << out[i] << ", wanted " << want[i];
        }
    }
}

/** A stretch cut anywhere comes out the same, sample for sample: input and output are the only memory */
TEST(Postfilter, CutInPieces)
{
    const uint64_t seed = 47;
    SCOPED_TRACE(test::seed_note(seed));
    test::Random random(seed);
    const std::vector<float> lpc = random_lpc(random), x = test::noise(960, 8000.0, seed);
    const std::vector<float> whole = filtered(lpc, x, {960});
    for (const std::vector<int> &pieces : {std::vector<int>{480, 480}, {20}, {80, 21, 34}, {1, 2, 3, 5, 8, 13}})
        EXPECT_TRUE(test::same_bits(filtered(lpc, x, pieces).data(), whole.data(), static_cast<int>(x.size())))
            << "pieces of " << pieces[0] << " ...";
}

} // namespace

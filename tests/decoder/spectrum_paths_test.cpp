/** The envelope's spectrum: every copy of it against its recurrences taken one value at a time, to the last bit */
#include "decoder/envelope.h"
#include "dsp/trig.h"
#include "dsp/wide.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <vector>

#ifdef TALV_WITH_AVX2
namespace talv::avx2
{
struct Spectrum {
    float re[SPECTRUM_ROOM], im[SPECTRUM_ROOM];
};
void lpc_spectrum(const float *poly, int terms, int p, Spectrum *out) noexcept;
void lpc_spectra(const float (*poly)[POLY_TERMS], int count, int p, Spectrum *const *out) noexcept;
} // namespace talv::avx2
#endif

namespace
{

using talv::LAG_MAX_FRAME;
using talv::LAG_MIN;
using talv::POLY_TERMS;
using talv::rounded;
using talv::SPECTRA_MAX;
using talv::wide;

using talv::Complex;
using Poly = std::array<float, POLY_TERMS>;

/** v(m+1) = 2 cos(step) v(m) - v(m-1), rounded to float */
float next_value(float two_cos, float v, float before)
{
    return rounded(wide(two_cos) * wide(v) - wide(before));
}

/** One bin from the cosine and sine of its angle */
Complex plain_bin(const Poly &poly, float c, float s)
{
    const float two_cos = c + c;
    float c_before = 1.0f, s_before = 0.0f;
    auto re = wide(poly[0]), im = wide(0.0);
    for (size_t j = 1; j < poly.size(); j++) {
        re += wide(poly[j]) * wide(c);
        im -= wide(poly[j]) * wide(s);
        const float c_next = next_value(two_cos, c, c_before), s_next = next_value(two_cos, s, s_before);
        c_before = c, s_before = s;
        c = c_next, s = s_next;
    }
    return {rounded(re), rounded(im)};
}

std::vector<Complex> plain_spectrum(const Poly &poly, int p)
{
    const float theta = rounded(wide(6.283185307) / wide(p));
    float c = rounded(talv::cos_wide(wide(theta))), s = rounded(talv::sin_wide(wide(theta)));
    float c_before = 1.0f, s_before = 0.0f;
    const float two_cos = 2.0f * c;
    auto sum = wide(0.0);
    for (const float v : poly)
        sum += wide(v);
    std::vector<Complex> out = {{rounded(sum), 0.0f}};
    for (int k = 1; k <= p / 2; k++) {
        out.push_back(plain_bin(poly, c, s));
        const float c_next = next_value(two_cos, c, c_before), s_next = next_value(two_cos, s, s_before);
        c_before = c, s_before = s;
        c = c_next, s = s_next;
    }
    return out;
}

/** The recurrence keeps near to the sums that it stands for, relative to the coefficients' magnitudes */
void expect_near_the_sums(const Poly &poly, int p, const std::vector<Complex> &spectrum)
{
    double size = 0.0;
    for (const float v : poly)
        size += std::fabs(wide(v));
    for (int k = 0; k <= p / 2; k++) {
        std::complex<double> error = {wide(spectrum[static_cast<size_t>(k)].re),
                                      wide(spectrum[static_cast<size_t>(k)].im)};
        for (int j = 0; j < POLY_TERMS; j++)
            error -= wide(poly[static_cast<size_t>(j)]) * std::polar(1.0, -2.0 * talv::PI * (j * k % p) / p);
        ASSERT_LT(std::abs(error), 1e-3 * size) << "lag " << p << ", harmonic " << k;
    }
}

template <typename Spectrum>
::testing::AssertionResult same(const Spectrum &got, const std::vector<Complex> &want)
{
    for (size_t k = 0; k < want.size(); k++)
        if (std::bit_cast<uint32_t>(got.re[k]) != std::bit_cast<uint32_t>(want[k].re) ||
            std::bit_cast<uint32_t>(got.im[k]) != std::bit_cast<uint32_t>(want[k].im))
            return ::testing::AssertionFailure() << "bin " << k << ": (" << got.re[k] << ", " << got.im[k]
                                                 << "), wanted (" << want[k].re << ", " << want[k].im << ")";
    return ::testing::AssertionSuccess();
}

/** Every lag and every number of polynomials, with coefficients of every size that an envelope has */
template <typename Spectrum, typename One, typename Several>
void check_all_lags(One one, Several several)
{
    const uint64_t seed = 131;
    SCOPED_TRACE(talv::test::seed_note(seed));
    talv::test::Random random(seed);
    for (int p = LAG_MIN; p <= LAG_MAX_FRAME; p++) {
        for (const double size : {0.01, 1.0, 40.0}) {
            float poly[SPECTRA_MAX][POLY_TERMS];
            std::vector<Complex> want[SPECTRA_MAX];
            for (int i = 0; i < SPECTRA_MAX; i++) {
                for (float &a : poly[i])
                    a = static_cast<float>(random.uniform(-size, size));
                want[i] = plain_spectrum(std::to_array(poly[i]), p);
            }
            expect_near_the_sums(std::to_array(poly[0]), p, want[0]);
            Spectrum out[SPECTRA_MAX], *all[SPECTRA_MAX];
            for (int i = 0; i < SPECTRA_MAX; i++)
                all[i] = out + i;
            one(poly[0], POLY_TERMS, p, out);
            ASSERT_TRUE(same(out[0], want[0])) << "lag " << p << ", alone";
            for (int count = 1; count <= SPECTRA_MAX; count++) {
                several(poly, count, p, all);
                for (int i = 0; i < count; i++)
                    ASSERT_TRUE(same(out[i], want[i])) << "lag " << p << ", " << i << " of " << count;
            }
        }
    }
}

TEST(LpcSpectrum, EveryMachinesCopyIsTheRecurrence)
{
    check_all_lags<talv::baseline::Spectrum>(talv::baseline::lpc_spectrum, talv::baseline::lpc_spectra);
}

#ifdef TALV_WITH_AVX2
TEST(LpcSpectrum, FusedStepsAreTheRecurrence)
{
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma"))
        GTEST_SKIP() << "this processor has no AVX2";
    check_all_lags<talv::avx2::Spectrum>(talv::avx2::lpc_spectrum, talv::avx2::lpc_spectra);
}
#endif

} // namespace

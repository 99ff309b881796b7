/* The amplitude codebook: what must hold of the table, however it was trained. */
#include "dsp/as_codebook.h"

#include "dsp/fft.h"
#include "encoder/cycle.h"
#include "tests/support/compare.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace talv
{
namespace
{

const float *row(int r)
{
    return as_codebook + r * AS_DIM;
}

double squared_distance(const float *x, const float *y)
{
    double sum = 0.0;
    for (int d = 0; d < AS_DIM; d++)
        sum += (static_cast<double>(x[d]) - static_cast<double>(y[d])) *
               (static_cast<double>(x[d]) - static_cast<double>(y[d]));
    return sum;
}

int32_t nearest(const float *vector)
{
    float work[AS_DIM];
    int32_t index = -1;
    std::copy_n(vector, AS_DIM, work);
    vq_search(AS_DIM, AS_DIM, work, AS_ROWS, as_codebook, &index);
    return index;
}

/** What the encoder measures in a cycle that is repeated without end */
struct Amplitudes {
    float of[AS_DIM];

    explicit Amplitudes(const std::vector<float> &cycle)
    {
        const int P = static_cast<int>(cycle.size());
        float folded[LAG_MAX + 3], coef[LAG_MAX + 3], points[FFT_MAX];
        Complex spectrum[FFT_MAX / 2 + 1];
        cycle_fold(P, 1, cycle.data(), folded + 1);
        cycle_resample(P, folded + 1, coef + 1, FFT_MAX, points);
        real_fft(points, spectrum, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
        cycle_amplitudes(AS_DIM, spectrum, of);
    }
};

TEST(AsCodebook, RowsKeepTheirDistance)
{
    for (int r = 0; r < AS_ROWS; r++)
        for (int q = 0; q < r; q++)
            EXPECT_GE(std::sqrt(squared_distance(row(r), row(q))), 0.4) << "rows " << q << " and " << r;
}

TEST(AsCodebook, SilentAndFlatVectors)
{
    const float zero[AS_DIM] = {};
    const float flat[AS_DIM] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(nearest(zero), 7);
    EXPECT_EQ(nearest(flat), 126);
}

/* A pulse a cycle has all harmonics alike, a cosine the first alone. From lag 21 on: at 20 the tenth harmonic of the
 * pulses is at 4000 Hz, where the interpolation has lost it. */
TEST(AsCodebook, PulsesAndCosinesAtEveryLag)
{
    for (int lag = LAG_MIN; lag <= LAG_MAX; lag++) {
        std::vector<float> pulse(static_cast<size_t>(lag)), cosine(static_cast<size_t>(lag));
        pulse[0] = 1.0f;
        for (int i = 0; i < lag; i++)
            cosine[static_cast<size_t>(i)] =
                static_cast<float>(1000.0 * std::cos(2.0 * 3.14159265358979323846 * i / lag));
        if (lag > LAG_MIN) {
            EXPECT_EQ(nearest(Amplitudes(pulse).of), 126) << "pulses, lag " << lag;
        }
        EXPECT_EQ(nearest(Amplitudes(cosine).of), 0) << "cosine, lag " << lag;
    }
}

/* Both ends of a link need the same table. The trainer's report tells the checksum of a new one. */
TEST(AsCodebook, IsUnchanged)
{
    EXPECT_EQ(test::table_checksum(as_codebook, AS_ROWS * AS_DIM), 0x093BC94Cu);
}

} // namespace
} // namespace talv

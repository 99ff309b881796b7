/** The lag selection of pitch_search and rs_values, one lag after the other, for comparison
 *
 *  Every lag scans its whole reach anew, as a sliding maximum is defined; the library keeps the winner of the lag
 *  before. Where two entries are equal, the winner kept and a fresh scan may differ in which of them they name, never in
 *  its value, so that the reference takes the winner from the rule: the new row wins ties, and the winner of the lag
 *  before stands until it leaves the reach.
 */
#ifndef TALV_TESTS_ENCODER_LAG_REFERENCE_H
#define TALV_TESTS_ENCODER_LAG_REFERENCE_H

#include "tests/support/signals.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

namespace talv::test
{

/** Gain of the symmetric filter taps[order] .. taps[0] .. taps[order], and the same against that at 0 Hz */
inline double fir_gain(const float *taps, int order, double frequency_hz)
{
    double gain = static_cast<double>(taps[0]);
    for (int k = 1; k <= order; k++)
        gain +=
            2.0 * static_cast<double>(taps[k]) * std::cos(2.0 * static_cast<double>(PI_L) * frequency_hz * k / 8000.0);
    return gain;
}
inline double fir_gain_db(const float *taps, int order, double frequency_hz)
{
    return 20.0 * std::log10(std::fabs(fir_gain(taps, order, frequency_hz) / fir_gain(taps, order, 0.0)));
}

/** Signals to search for lags in, of n samples: the block begins at `past`
 *  loud   enough for correlations below the bias */
struct LagSignal {
    const char *name;
    bool loud;
    std::vector<float> (*make)(int n, int past, int lag, Random &random);
};
inline const LagSignal LAG_SIGNALS[] = {
    {"quiet noise", false, [](int n, int, int, Random &random) { return noise(n, 10.0, random.next()); }},
    {"noise", true, [](int n, int, int, Random &random) { return noise(n, 400.0, random.next()); }},
    {"loud noise", true, [](int n, int, int, Random &random) { return noise(n, 30000.0, random.next()); }},
    {"pulses", false, /* entries tie in long runs */
     [](int n, int, int lag, Random &random) { return pulses(n, lag, 500.0f, random.integer(0, 19)); }},
    {"alternating pulses", true,
     [](int n, int, int lag, Random &random) {
         const int half = 20 + lag / 2, first = random.integer(0, 19);
         std::vector<float> x = pulses(n, 2 * half, 3000.0f, first);
         for (int i = first + half; i < n; i += 2 * half)
             x[static_cast<size_t>(i)] = -3000.0f;
         return x;
     }},
    {"whole numbers", false,
     [](int n, int, int, Random &random) {
         std::vector<float> x = noise(n, 1.5, random.next());
         for (float &v : x)
             v = std::round(v);
         return x;
     }},
    {"gliding voice", true,
     [](int n, int, int lag, Random &random) {
         return voiced(n, lag, lag * random.uniform(0.85, 1.18), 4000.0, random.next());
     }},
    {"loud tone", true, /* correlations swing far below the bias */
     [](int n, int, int, Random &random) {
         return tone(n, random.uniform(60.0, 600.0), 20000.0, random.uniform(0.0, 6.0));
     }},
    {"loud past, quiet block", true, /* the energy slides down from a large sum */
     [](int n, int past, int, Random &random) {
         std::vector<float> x = noise(n, 20000.0, random.next());
         for (size_t i = static_cast<size_t>(past); i < x.size(); i++)
             x[i] *= 3e-4f;
         return x;
     }},
};

/** A float's place in the order of 32-bit patterns read as signed integers */
inline int32_t pattern(float v)
{
    int32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

inline double squared(float v)
{
    return static_cast<double>(v) * static_cast<double>(v);
}

struct LagChoice {
    int lag;      /* the winning lag                                              */
    int offset;   /* how much longer the last segment's correlation reaches       */
    double q;     /* squared correlation over the energy of the past              */
    float energy; /* of the block itself                                          */
    int negative; /* entries below 0 met: the integer order puts them lowest      */
};

/** Choose a lag
 *  entry(segment, lag)   biased correlation
 *  sum_rounded           the sum over the segments is rounded at every addition                                      */
inline LagChoice choose_lag(int nseg, int n, int lag_min, int lag_max, const float *x, bool sum_rounded,
                            const std::function<float(int, int)> &entry)
{
    double energy = 0.0;
    for (int i = 0; i < n; i++)
        energy += squared(x[i - lag_max]);
    float E = static_cast<float>(energy);

    std::vector<std::vector<float>> column(static_cast<size_t>(nseg),
                                           std::vector<float>(static_cast<size_t>(lag_max) + 1));
    std::vector<int> winner(static_cast<size_t>(nseg), 1 << 20); /* the lag whose entry won at the lag before */
    LagChoice choice = {0, 0, 0.0, 0.0f, 0};
    double best = 0.0;
    int rows = 0; /* rows filled before this one */
    for (int lag = lag_max; lag >= lag_min; lag--, rows++) {
        const int width = lag / 5 - 1 < rows ? lag / 5 - 1 : rows;
        double wide_sum = 0.0;
        float narrow_sum = 0.0f;
        int offset = 0;
        for (size_t s = 0; s < column.size(); s++) {
            std::vector<float> &c = column[s];
            c[static_cast<size_t>(lag)] = entry(static_cast<int>(s), lag);
            choice.negative += c[static_cast<size_t>(lag)] < 0.0f ? 1 : 0;
            int best_lag = lag;
            for (int other = lag + width; other > lag; other--)
                if (pattern(c[static_cast<size_t>(other)]) > pattern(c[static_cast<size_t>(best_lag)]))
                    best_lag = other;
            /* of equal entries the winner of the lag before stands, unless it is the new row itself */
            const int before = winner[s];
            if (best_lag != lag && before <= lag + width &&
                pattern(c[static_cast<size_t>(before)]) == pattern(c[static_cast<size_t>(best_lag)]))
                best_lag = before;
            winner[s] = best_lag != lag || before <= lag + width ? best_lag : 1 << 20;
            offset = best_lag - lag;
            wide_sum += static_cast<double>(c[static_cast<size_t>(best_lag)]);
            narrow_sum += c[static_cast<size_t>(best_lag)];
        }
        float S = sum_rounded ? narrow_sum - 300000.0f : static_cast<float>(wide_sum - 300000.0);
        if (S < 0.0f)
            S = 0.0f;
        const double q = E > 0.0f ? squared(S) / static_cast<double>(E) : 0.0;
        const double score = (1.0 - 0.003 * lag) * q;
        if (score >= best) {
            best = score;
            choice.lag = lag;
            choice.offset = offset;
            choice.q = q;
        }
        E = static_cast<float>(static_cast<double>(E) - squared(x[-lag]));
        E = static_cast<float>(static_cast<double>(E) + squared(x[n - lag]));
    }
    double block = static_cast<double>(E);
    for (int i = -(lag_min - 1); i < 0; i++)
        block = block - squared(x[i]) + squared(x[i + n]);
    choice.energy = static_cast<float>(block);
    return choice;
}

} // namespace talv::test

#endif

/** Test signals: seeded, and the same on every machine
 *
 *  The standard library's engines are fixed by the standard but its distributions are not, so the numbers are made
 *  here. A test prints the seed of what failed: SCOPED_TRACE(seed_note(seed)).
 */
#ifndef TALV_TESTS_SUPPORT_SIGNALS_H
#define TALV_TESTS_SUPPORT_SIGNALS_H

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace talv::test
{

inline constexpr long double PI_L = 3.14159265358979323846264338327950288L;

/** A number at the width of the references */
template <typename T>
constexpr long double exact(T v)
{
    return static_cast<long double>(v);
}

/** Pseudo-random numbers: Steele, Lea and Flood, "Fast Splittable Pseudorandom Number Generators", OOPSLA 2014 */
struct Random {
    uint64_t state;

    explicit Random(uint64_t seed) : state(seed) {}

    uint64_t next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15u);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    /** lo <= result < hi */
    double uniform(double lo, double hi) { return lo + (hi - lo) * (static_cast<double>(next() >> 11) * 0x1p-53); }

    /** lo <= result <= hi */
    int integer(int lo, int hi) { return lo + static_cast<int>(next() % (static_cast<uint64_t>(hi - lo) + 1)); }
};

inline std::string seed_note(uint64_t seed)
{
    return "seed " + std::to_string(seed);
}

/** White noise, even over -amplitude..amplitude */
inline std::vector<float> noise(int n, double amplitude, uint64_t seed)
{
    Random random(seed);
    std::vector<float> x(static_cast<size_t>(n));
    for (float &v : x)
        v = static_cast<float>(random.uniform(-amplitude, amplitude));
    return x;
}

/** amplitude sin(2 pi f i / 8000 + phase) */
inline std::vector<float> tone(int n, double frequency_hz, double amplitude, double phase = 0.0)
{
    std::vector<float> x(static_cast<size_t>(n));
    for (int i = 0; i < n; i++)
        x[static_cast<size_t>(i)] =
            static_cast<float>(amplitude * std::sin(2.0 * 3.14159265358979323846 * frequency_hz * i / 8000.0 + phase));
    return x;
}

/** A pulse at every period-th sample, the first one at `first` */
inline std::vector<float> pulses(int n, int period, float height, int first = 0)
{
    std::vector<float> x(static_cast<size_t>(n), 0.0f);
    for (int i = first; i < n; i += period)
        x[static_cast<size_t>(i)] = height;
    return x;
}

/** One random cycle, over and over: strictly periodic, with energy everywhere */
inline std::vector<float> repeated_noise(int n, int period, double amplitude, uint64_t seed)
{
    const std::vector<float> cycle = noise(period, amplitude, seed);
    std::vector<float> x(static_cast<size_t>(n));
    for (int i = 0; i < n; i++)
        x[static_cast<size_t>(i)] = cycle[static_cast<size_t>(i % period)];
    return x;
}

/** The same with whole numbers, whose sums are exact in float as long as they stay below 2^24 */
inline std::vector<float> repeated_whole_numbers(int n, int period, int amplitude, uint64_t seed)
{
    std::vector<float> x = repeated_noise(n, period, static_cast<double>(amplitude), seed);
    for (float &v : x)
        v = std::round(v);
    return x;
}

/** Round to 16 bits, limited to their range */
inline std::vector<int16_t> to_pcm(const std::vector<float> &x)
{
    std::vector<int16_t> pcm(x.size());
    for (size_t i = 0; i < x.size(); i++)
        pcm[i] = static_cast<int16_t>(std::lround(std::fmin(std::fmax(x[i], -32768.0f), 32767.0f)));
    return pcm;
}

/** Something like voiced speech: pulses of a gliding lag with some noise, through two resonances
 *  lag0, lag1   the lag at the start and at the end, samples */
inline std::vector<float> voiced(int n, double lag0, double lag1, double amplitude, uint64_t seed)
{
    Random random(seed);
    std::vector<float> x(static_cast<size_t>(n));
    double phase = 0.0, y1 = 0.0, y2 = 0.0, v1 = 0.0, v2 = 0.0;
    const double r1 = 0.96, w1 = 2.0 * 3.14159265358979323846 * 500.0 / 8000.0;
    const double r2 = 0.93, w2 = 2.0 * 3.14159265358979323846 * 1500.0 / 8000.0;
    for (int i = 0; i < n; i++) {
        double e = random.uniform(-0.03, 0.03);
        phase += 1.0 / (lag0 + (lag1 - lag0) * i / n);
        if (phase >= 1.0) {
            phase -= 1.0;
            e += 1.0;
        }
        const double y = e + 2.0 * r1 * std::cos(w1) * y1 - r1 * r1 * y2;
        y2 = y1;
        y1 = y;
        const double v = y + 2.0 * r2 * std::cos(w2) * v1 - r2 * r2 * v2;
        v2 = v1;
        v1 = v;
        x[static_cast<size_t>(i)] = static_cast<float>(amplitude * 0.25 * v);
    }
    return x;
}

} // namespace talv::test

#endif

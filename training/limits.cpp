#include "training/limits.h"

#include "dsp/fft.h"
#include "encoder/cycle.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace talv
{

namespace
{

/* A row has six digits, rounded at once to what is printed, so that the table trained is the table in use. It is aimed
 * this much inside its limits, for them to hold after the rounding. */
constexpr double ELEMENT_ROOM = 1e-5;
constexpr double SQUARE_ROOM = 1e-4;
constexpr double DISTANCE_ROOM = 3e-5;

constexpr int FLAT_ROW = 126;
constexpr int SETTLE_PASSES = 200;

/** The amplitudes that the encoder measures in a cycle repeated without end */
void amplitudes_of_cycle(int P, const float *cycle, float *amplitude)
{
    float folded[LAG_MAX + 3], spline_coef[LAG_MAX + 3], cycle_128[FFT_MAX];
    Complex cycle_fft[FFT_MAX / 2 + 1];
    cycle_fold(P, 1, cycle, folded + 1);
    cycle_resample(P, folded + 1, spline_coef + 1, FFT_MAX, cycle_128);
    real_fft(cycle_128, cycle_fft, FFT_MAX, FFT_MAX, fft_bitrev, fft_twiddle);
    cycle_amplitudes(AS_DIM, cycle_fft, amplitude);
}

/** Give a vector the level and the elements of a free row by the shortest way
 *
 *  The point of the shell square_min <= |v|^2 <= square_max nearest to v lies on the ray through v. Together with the
 *  bounds on the elements it is clamp(s v), element by element, for the one s that meets the bound on the level, whose
 *  square rises with s: bisection.                                                                                  */
void fit_level(const Limits &limits, double *v)
{
    const double element_min = limits.element_min + ELEMENT_ROOM, element_max = limits.element_max - ELEMENT_ROOM;
    const double square_min = limits.square_min + SQUARE_ROOM, square_max = limits.square_max - SQUARE_ROOM;
    const auto square_of = [&](double scale) {
        double square = 0.0;
        for (int d = 0; d < AS_DIM; d++) {
            const double e = std::clamp(scale * v[d], element_min, element_max);
            square += e * e;
        }
        return square;
    };
    double scale = 1.0;
    const double square = square_of(1.0);
    if (square < square_min || square > square_max) {
        const double wanted = square < square_min ? square_min : square_max;
        double low = 0.0, high = 1.0;
        while (square_of(high) < wanted && high < 1e6)
            high *= 2.0;
        for (int i = 0; i < 100; i++) {
            scale = 0.5 * (low + high);
            (square_of(scale) < wanted ? low : high) = scale;
        }
    }
    for (int d = 0; d < AS_DIM; d++)
        v[d] = std::clamp(scale * v[d], element_min, element_max);
}

/** The float nearest to a value of six digits */
float six_digits(double v)
{
    const double unit = std::fabs(v) < 1.0 ? 1e6 : 1e5;
    return static_cast<float>(std::round(v * unit) / unit);
}

bool near_its_guards(const Limits &limits, int row, const double *v)
{
    return std::all_of(limits.guards.begin(), limits.guards.end(), [&](const Guard &guard) {
        return guard.row != row || distance(v, guard.vector) <= guard.inside - DISTANCE_ROOM;
    });
}

/** Draw a row towards the vectors it has to stand for, no further than need be */
void approach_guards(const Limits &limits, int row, double *v)
{
    double target[AS_DIM] = {};
    int n = 0;
    for (const Guard &guard : limits.guards)
        if (guard.row == row) {
            for (int d = 0; d < AS_DIM; d++)
                target[d] += static_cast<double>(guard.vector[d]);
            n++;
        }
    if (n == 0 || near_its_guards(limits, row, v))
        return;
    double from[AS_DIM];
    std::copy_n(v, AS_DIM, from);
    double low = 0.0, high = 1.0;
    for (int i = 0; i < 60; i++) {
        const double share = 0.5 * (low + high);
        for (int d = 0; d < AS_DIM; d++)
            v[d] = from[d] + share * (target[d] / n - from[d]);
        fit_level(limits, v);
        (near_its_guards(limits, row, v) ? high : low) = share;
    }
    for (int d = 0; d < AS_DIM; d++)
        v[d] = from[d] + high * (target[d] / n - from[d]);
    fit_level(limits, v);
}

/** Push a row away from the vectors that belong to others
 *  return   whether it had to move */
bool leave_guards(const Limits &limits, int row, double *v)
{
    bool moved = false;
    for (const Guard &guard : limits.guards) {
        const double apart = distance(v, guard.vector), wanted = guard.outside + DISTANCE_ROOM;
        if (guard.row == row || apart >= wanted)
            continue;
        const double stretch = apart > 0.0 ? (wanted + 1e-9) / apart : 1.0;
        for (int d = 0; d < AS_DIM; d++)
            v[d] = static_cast<double>(guard.vector[d]) + stretch * (v[d] - static_cast<double>(guard.vector[d]));
        moved = true;
    }
    return moved;
}

} // namespace

Limits no_limits()
{
    const double infinity = std::numeric_limits<double>::infinity();
    return {{}, {}, -infinity, infinity, -infinity, infinity};
}

Limits table_limits()
{
    Limits limits;
    // clang-format off
    limits.given = {
        {0,   {3.02371f, 0.494241f, 0.393583f, 0.23393f, 0.181386f, 0.193772f, 0.173103f, 0.164243f, 0.15865f, 0.202074f}},
        {3,   {1.162661f, 2.734882f, 0.344313f, 0.31295f, 0.382247f, 0.301536f, 0.281201f, 0.26869f, 0.178286f, 0.270575f}},
        {7,   {0.491732f, 0.56396f, 0.624226f, 0.712389f, 0.648832f, 2.030949f, 1.21525f, 0.876552f, 0.65228f, 0.579578f}},
        {127, {0.905058f, 1.288444f, 0.951155f, 0.875965f, 1.017202f, 0.983964f, 0.968518f, 0.915425f, 0.958763f, 0.978895f}},
    };
    // clang-format on
    const auto square = [](const float *row) {
        const float zero[AS_DIM] = {};
        return distance(row, zero) * distance(row, zero);
    };
    limits.element_max = static_cast<double>(limits.given[0].value[0]) - 1e-5;
    limits.element_min = static_cast<double>(limits.given[0].value[8]) + 1e-5;
    limits.square_min = square(limits.given[2].value) + 1e-4;
    limits.square_max = square(limits.given[3].value) - 1e-4;

    /* The flat row has given rows to compete with, above all row 127: it lies 3 per cent nearer to its vectors than any
     * of those, and the other free rows lie no nearer than they. Row 0 is where it is, and the others stay away. */
    const auto guard = [&](int row, int lag, const float *cycle) {
        Guard g{};
        g.row = row;
        amplitudes_of_cycle(lag, cycle, g.vector);
        double nearest = std::numeric_limits<double>::infinity();
        for (const GivenRow &other : limits.given)
            nearest = std::min(nearest, distance(other.value, g.vector));
        const bool is_given = find_given(limits, row) != nullptr;
        g.outside = is_given ? distance(find_given(limits, row)->value, g.vector) + 1e-3 : nearest;
        g.inside = is_given ? std::numeric_limits<double>::infinity() : 0.97 * nearest;
        limits.guards.push_back(g);
    };
    for (int lag : {20, 32, 64, 128}) {
        float cosine[LAG_MAX], pulse[LAG_MAX] = {1.0f};
        for (int i = 0; i < lag; i++)
            cosine[i] = static_cast<float>(1000.0 * std::cos(2.0 * 3.14159265358979323846 * i / lag));
        guard(0, lag, cosine);
        if (lag > 20) /* at the shortest lag the tenth harmonic meets the interpolation's roll-off */
            guard(FLAT_ROW, lag, pulse);
    }
    return limits;
}

const GivenRow *find_given(const Limits &limits, int row)
{
    for (const GivenRow &given : limits.given)
        if (given.row == row)
            return &given;
    return nullptr;
}

bool admissible(const Limits &limits, int row, const float *value)
{
    if (const GivenRow *given = find_given(limits, row))
        return std::equal(value, value + AS_DIM, given->value);
    double square = 0.0;
    for (int d = 0; d < AS_DIM; d++) {
        const double e = static_cast<double>(value[d]);
        if (!(e >= limits.element_min && e <= limits.element_max))
            return false;
        square += e * e;
    }
    if (!(square >= limits.square_min && square <= limits.square_max))
        return false;
    return std::all_of(limits.guards.begin(), limits.guards.end(), [&](const Guard &guard) {
        const double apart = distance(value, guard.vector);
        return guard.row == row ? apart <= guard.inside : apart >= guard.outside;
    });
}

bool nearest_admissible(const Limits &limits, int row, const double *centroid, float *value)
{
    if (const GivenRow *given = find_given(limits, row)) {
        std::copy_n(given->value, AS_DIM, value);
        return true;
    }
    double v[AS_DIM];
    std::copy_n(centroid, AS_DIM, v);
    fit_level(limits, v);
    approach_guards(limits, row, v);
    for (int pass = 0; pass < SETTLE_PASSES && leave_guards(limits, row, v); pass++)
        fit_level(limits, v);
    for (int d = 0; d < AS_DIM; d++)
        value[d] = six_digits(v[d]);
    return admissible(limits, row, value);
}

} // namespace talv

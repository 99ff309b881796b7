/** Sine, cosine and arc-cosine from additions, multiplications, divisions and square roots alone
 *
 *  The codec's samples must not hang on which C library a host links, so the three functions are written here, from
 *  their Taylor series. IEEE 754 fixes every operation used, which makes the results the same on every machine. Their
 *  error stays below 6e-16 over 0..pi, against 3e-8 for half a step of the floats near 1 that they are rounded to.
 *  They are constexpr (but for the arc-cosine, which needs the hardware's root), so that tables come from them too.
 */
#ifndef TALV_DSP_TRIG_H
#define TALV_DSP_TRIG_H

#include "dsp/target.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

inline constexpr double PI = 3.14159265358979323846;

/** Taylor coefficients, computed when the library is compiled */
inline constexpr int TRIG_TERMS = 9;  /* sine to r^17 and cosine to r^16: the first terms left out are below 2e-19
                                         and 2e-18 at |r| = pi/4                                                */
inline constexpr int ASIN_TERMS = 26; /* arc-sine to x^51: the first term left out is below 2e-18 at |x| = 1/2    */

struct TrigSeries {
    double sine[TRIG_TERMS];   /* (-1)^n / (2n+1)!                  */
    double cosine[TRIG_TERMS]; /* (-1)^n / (2n)!                    */
    double asine[ASIN_TERMS];  /* (2n)! / (4^n (n!)^2 (2n+1))       */
};

constexpr TrigSeries make_trig_series() noexcept
{
    TrigSeries series{};
    double factorial = 1.0; /* of 2n; exact in double up to 18! */
    double binomial = 1.0;  /* (2n)! / (4^n (n!)^2)             */
    for (int n = 0; n < ASIN_TERMS; n++) {
        if (n > 0)
            binomial = binomial * (2 * n - 1) / (2 * n);
        series.asine[n] = binomial / (2 * n + 1);
        if (n < TRIG_TERMS) {
            if (n > 0)
                factorial *= (2 * n - 1) * (2 * n);
            const double sign = n % 2 == 0 ? 1.0 : -1.0;
            series.cosine[n] = sign / factorial;
            series.sine[n] = sign / (factorial * (2 * n + 1));
        }
    }
    return series;
}

inline constexpr TrigSeries trig_series = make_trig_series();

/** sum of c[n] z^n, n < count, by Horner's rule */
template <int count>
constexpr double power_series(const double (&c)[count], double z) noexcept
{
    double sum = c[count - 1];
    for (int n = count - 2; n >= 0; n--)
        sum = sum * z + c[n];
    return sum;
}

/** Sine and cosine for |r| <= pi/4 */
constexpr double sin_kernel(double r) noexcept
{
    return r * power_series(trig_series.sine, r * r);
}
constexpr double cos_kernel(double r) noexcept
{
    return power_series(trig_series.cosine, r * r);
}

/** The quadrant of an angle and what is left of it: x = quadrant pi/2 + rest, |rest| <= pi/4, for |x| <= 1e5
 *  pi/2 is taken in two pieces (Cody and Waite, Software Manual for the Elementary Functions, 1980): the first has 33
 *  bits, so that its multiples are exact.                                                                          */
inline constexpr double HALF_PI_HIGH = 1.57079632673412561417;    /* the first 33 bits of pi/2 */
inline constexpr double HALF_PI_LOW = 6.07710050650619224932e-11; /* pi/2 - HALF_PI_HIGH       */

struct ReducedAngle {
    int quadrant; /* 0..3 */
    double rest;  /* radians */
};

constexpr ReducedAngle reduce_angle(double x) noexcept
{
    const double turns = x * (2.0 / PI);
    const int k = static_cast<int>(turns < 0.0 ? turns - 0.5 : turns + 0.5);
    return {k & 3, (x - k * HALF_PI_HIGH) - k * HALF_PI_LOW};
}

/** cos(x) and sin(x), x in radians, |x| <= 1e5 */
constexpr double cos_wide(double x) noexcept
{
    const ReducedAngle a = reduce_angle(x);
    const double v = (a.quadrant & 1) != 0 ? sin_kernel(a.rest) : cos_kernel(a.rest);
    return a.quadrant == 1 || a.quadrant == 2 ? -v : v;
}

constexpr double sin_wide(double x) noexcept
{
    const ReducedAngle a = reduce_angle(x);
    const double v = (a.quadrant & 1) != 0 ? cos_kernel(a.rest) : sin_kernel(a.rest);
    return a.quadrant >= 2 ? -v : v;
}

/** asin(x) for |x| <= 1/2 */
constexpr double asin_kernel(double x) noexcept
{
    return x * power_series(trig_series.asine, x * x);
}

/** acos(x) in radians, 0..pi, for -1 <= x <= 1; what lies outside by a rounding counts as the end of the range
 *  Near the ends the half-angle form acos(x) = 2 asin(sqrt((1 - x) / 2)) keeps the relative accuracy.            */
inline double acos_wide(double x) noexcept
{
    if (x > 1.0)
        x = 1.0;
    if (x < -1.0)
        x = -1.0;
    if (x > 0.5)
        return 2.0 * asin_kernel(std::sqrt((1.0 - x) * 0.5));
    if (x < -0.5)
        return PI - 2.0 * asin_kernel(std::sqrt((1.0 + x) * 0.5));
    return PI * 0.5 - asin_kernel(x);
}

} // namespace talv::inline TALV_TARGET

#endif

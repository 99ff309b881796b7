/** Sine, cosine and arc-cosine from additions, multiplications, divisions and square roots alone
 *
 *  The codec's samples must not hang on which C library a host links, so the three functions are written here, from
 *  their Taylor series. IEEE 754 fixes every operation used, which makes the results the same on every machine. In
 *  double their error stays below 6e-16 over 0..pi, against 3e-8 for half a step of the floats near 1 that they are
 *  rounded to. They are constexpr (but for the arc-cosine, which needs the hardware's root), so that tables come from
 *  them too, always in double. In float, where TALV_FLOAT_ONLY asks for it, the error stays below 2.5e-7.
 */
#ifndef TALV_DSP_TRIG_H
#define TALV_DSP_TRIG_H

#include "dsp/target.h"

#include <cmath>

namespace talv
{

inline constexpr double PI = 3.14159265358979323846;

/** How far the series go in a type, and pi/2 in two pieces for it (Cody and Waite, Software Manual for the Elementary
 *  Functions, 1980): the first has so few bits that its multiples are exact                                          */
template <typename T>
struct TrigLimits;

template <>
struct TrigLimits<double> {
    static constexpr int TERMS = 9;       /* sine to r^17 and cosine to r^16: the first terms left out are below 2e-19
                                             and 2e-18 at |r| = pi/4                                                */
    static constexpr int ASIN_TERMS = 26; /* arc-sine to x^51: the first term left out is below 2e-18 at |x| = 1/2    */
    static constexpr double HALF_PI_HIGH = 1.57079632673412561417;    /* the first 33 bits of pi/2 */
    static constexpr double HALF_PI_LOW = 6.07710050650619224932e-11; /* pi/2 - HALF_PI_HIGH       */
};

template <>
struct TrigLimits<float> {
    static constexpr int TERMS = 6;                   /* the first terms left out are below 1e-11 and 2e-10 */
    static constexpr int ASIN_TERMS = 10;             /* and below 5e-9                                     */
    static constexpr float HALF_PI_HIGH = 1.5703125f; /* the first 9 bits */
    static constexpr float HALF_PI_LOW = 4.83826794897e-4f;
};

/** Taylor coefficients, computed when the library is compiled */
template <typename T>
struct TrigSeries {
    T sine[TrigLimits<T>::TERMS];       /* (-1)^n / (2n+1)!                  */
    T cosine[TrigLimits<T>::TERMS];     /* (-1)^n / (2n)!                    */
    T asine[TrigLimits<T>::ASIN_TERMS]; /* (2n)! / (4^n (n!)^2 (2n+1))       */
};

template <typename T>
consteval TrigSeries<T> make_trig_series() noexcept
{
    TrigSeries<T> series{};
    double factorial = 1.0; /* of 2n; exact in double up to 18! */
    double binomial = 1.0;  /* (2n)! / (4^n (n!)^2)             */
    for (int n = 0; n < TrigLimits<T>::ASIN_TERMS; n++) {
        if (n > 0)
            binomial = binomial * (2 * n - 1) / (2 * n);
        series.asine[n] = static_cast<T>(binomial / (2 * n + 1));
        if (n < TrigLimits<T>::TERMS) {
            if (n > 0)
                factorial *= (2 * n - 1) * (2 * n);
            const double sign = n % 2 == 0 ? 1.0 : -1.0;
            series.cosine[n] = static_cast<T>(sign / factorial);
            series.sine[n] = static_cast<T>(sign / (factorial * (2 * n + 1)));
        }
    }
    return series;
}

template <typename T>
inline constexpr TrigSeries<T> trig_series = make_trig_series<T>();

} // namespace talv

namespace talv::inline TALV_TARGET
{

/** sum of c[n] z^n, n < count, by Horner's rule */
template <typename T, int count>
constexpr T power_series(const T (&c)[count], T z) noexcept
{
    T sum = c[count - 1];
    for (int n = count - 2; n >= 0; n--)
        sum = sum * z + c[n];
    return sum;
}

/** Sine and cosine for |r| <= pi/4 */
template <typename T>
constexpr T sin_kernel(T r) noexcept
{
    return r * power_series(trig_series<T>.sine, r * r);
}
template <typename T>
constexpr T cos_kernel(T r) noexcept
{
    return power_series(trig_series<T>.cosine, r * r);
}

/** The quadrant of an angle and what is left of it: x = quadrant pi/2 + rest, |rest| <= pi/4, for |x| <= 1e5 (in float
 *  for |x| <= 100)                                                                                                   */
template <typename T>
struct ReducedAngle {
    int quadrant; /* 0..3 */
    T rest;       /* radians */
};

template <typename T>
constexpr ReducedAngle<T> reduce_angle(T x) noexcept
{
    constexpr T HALF = static_cast<T>(0.5);
    const T turns = x * static_cast<T>(2.0 / PI);
    const int k = static_cast<int>(turns < 0 ? turns - HALF : turns + HALF);
    const T quadrants = static_cast<T>(k);
    return {k & 3, (x - quadrants * TrigLimits<T>::HALF_PI_HIGH) - quadrants * TrigLimits<T>::HALF_PI_LOW};
}

/** cos(x) and sin(x), x in radians, within the range of reduce_angle() */
template <typename T>
constexpr T cos_wide(T x) noexcept
{
    const ReducedAngle<T> a = reduce_angle(x);
    const T v = (a.quadrant & 1) != 0 ? sin_kernel(a.rest) : cos_kernel(a.rest);
    return a.quadrant == 1 || a.quadrant == 2 ? -v : v;
}

template <typename T>
constexpr T sin_wide(T x) noexcept
{
    const ReducedAngle<T> a = reduce_angle(x);
    const T v = (a.quadrant & 1) != 0 ? cos_kernel(a.rest) : sin_kernel(a.rest);
    return a.quadrant >= 2 ? -v : v;
}

/** asin(x) for |x| <= 1/2 */
template <typename T>
constexpr T asin_kernel(T x) noexcept
{
    return x * power_series(trig_series<T>.asine, x * x);
}

/** acos(x) in radians, 0..pi, for -1 <= x <= 1; what lies outside by a rounding counts as the end of the range
 *  Near the ends the half-angle form acos(x) = 2 asin(sqrt((1 - x) / 2)) keeps the relative accuracy.            */
template <typename T>
inline T acos_wide(T x) noexcept
{
    constexpr T HALF = static_cast<T>(0.5);
    if (x > 1)
        x = 1;
    if (x < -1)
        x = -1;
    if (x > HALF)
        return 2 * asin_kernel(std::sqrt((1 - x) * HALF));
    if (x < -HALF)
        return static_cast<T>(PI) - 2 * asin_kernel(std::sqrt((1 + x) * HALF));
    return static_cast<T>(PI / 2) - asin_kernel(x);
}

} // namespace talv::inline TALV_TARGET

#endif

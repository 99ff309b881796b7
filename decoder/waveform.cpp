#include "decoder/waveform.h"

#include "dsp/trig.h"
#include "dsp/wide.h"

#include <cmath>

namespace talv::inline TALV_TARGET
{

// clang-format off
/* Noise magnitude over relative frequency w = k/h, c0 + c1 w + c2 w^2 + c3 w^3, for ten steps of periodicity */
const float noise_poly_table[10][4] = {
    {  0.00f,   0.00f,   0.00f,   0.50f},
    {  0.00f,   0.00f,   0.28f,   0.33f},
    {  0.00f,   0.03f,   0.55f,   0.14f},
    {  0.00f,   0.08f,   0.81f,  -0.05f},
    {  0.00f,   0.30f,   0.90f,  -0.20f},
    {  0.00f,   1.10f,  -0.10f,   0.00f},
    {  0.30f,   1.10f,  -0.60f,   0.20f},
    {  0.60f,   0.90f,  -0.90f,   0.40f},
    {  0.85f,   0.50f,  -0.65f,   0.30f},
    {  1.00f,   0.00f,   0.00f,   0.00f},
};

/* Phases as unit vectors, two decimals */
const Complex phase_table[PHASES] = {
    /*   0 */ {-0.93f, -0.37f}, {-0.18f,  0.98f}, { 0.75f, -0.67f}, { 0.95f,  0.32f},
              { 0.99f,  0.10f}, { 0.93f,  0.36f}, { 0.80f, -0.60f}, { 0.89f, -0.46f},
    /*   8 */ { 0.86f, -0.51f}, { 0.52f, -0.86f}, {-0.05f, -1.00f}, { 0.09f, -1.00f},
              {-0.05f, -1.00f}, {-0.05f, -1.00f}, {-0.26f, -0.97f}, {-0.46f, -0.89f},
    /*  16 */ {-0.84f, -0.54f}, {-0.06f,  1.00f}, {-0.06f, -1.00f}, {-0.82f, -0.57f},
              {-0.99f, -0.10f}, {-1.00f, -0.07f}, {-0.99f, -0.13f}, {-0.64f,  0.76f},
    /*  24 */ {-0.51f,  0.86f}, { 0.01f,  1.00f}, {-0.33f,  0.94f}, {-0.37f,  0.93f},
              { 0.10f,  1.00f}, {-0.50f,  0.87f}, {-0.39f,  0.92f}, {-0.47f,  0.88f},
    /*  32 */ { 0.15f,  0.99f}, { 0.46f,  0.89f}, { 0.81f,  0.59f}, { 0.99f,  0.15f},
              { 0.97f, -0.23f}, { 1.00f,  0.00f}, { 1.00f,  0.00f}, { 1.00f, -0.01f},
    /*  40 */ {-0.84f,  0.55f}, { 0.97f,  0.25f}, {-0.76f, -0.65f}, {-0.66f,  0.75f},
              {-0.84f,  0.54f}, { 0.53f, -0.85f}, { 0.05f, -1.00f}, {-0.38f,  0.93f},
    /*  48 */ {-0.40f, -0.91f}, { 0.09f, -1.00f}, { 0.61f,  0.79f}, {-0.57f,  0.82f},
              { 0.45f,  0.89f}, {-0.85f,  0.53f}, { 1.00f,  0.06f}, {-0.75f,  0.66f},
    /*  56 */ { 0.88f,  0.48f}, { 0.99f,  0.17f}, {-0.38f,  0.93f}, {-0.15f,  0.99f},
              { 0.98f, -0.21f}, {-0.93f,  0.38f}, { 0.69f,  0.72f}, {-0.81f,  0.58f},
    /*  64 */ {-0.05f,  1.00f}, { 0.38f, -0.93f}, {-0.97f,  0.26f}, {-1.00f,  0.08f},
              { 0.99f, -0.16f}, { 0.21f, -0.98f}, { 0.23f,  0.97f}, { 0.78f,  0.63f},
    /*  72 */ {-0.96f, -0.27f}, { 0.49f, -0.87f}, { 0.43f, -0.90f}, {-0.87f, -0.50f},
              { 0.36f,  0.93f}, { 0.98f, -0.22f}, {-1.00f, -0.04f}, { 0.67f,  0.74f},
    /*  80 */ { 0.61f,  0.79f}, { 0.51f,  0.86f}, {-0.11f,  0.99f}, { 0.99f, -0.10f},
              { 0.94f, -0.34f}, { 0.19f,  0.98f}, { 0.79f,  0.61f}, {-0.38f, -0.92f},
    /*  88 */ { 0.43f, -0.90f}, {-0.90f, -0.44f}, { 0.99f,  0.12f}, {-0.98f,  0.20f},
              { 0.15f, -0.99f}, { 1.00f,  0.02f}, { 0.99f,  0.12f}, {-0.50f,  0.86f},
    /*  96 */ { 0.32f, -0.95f}, {-0.23f,  0.97f}, { 0.86f,  0.51f}, {-0.11f,  0.99f},
              { 0.83f, -0.55f}, { 0.68f, -0.73f}, { 0.13f,  0.99f}, {-0.17f,  0.99f},
    /* 104 */ { 0.85f,  0.53f}, {-0.34f,  0.94f}, {-0.95f,  0.32f}, {-0.65f,  0.76f},
              { 0.71f,  0.70f}, { 0.95f,  0.31f}, {-0.03f, -1.00f}, {-0.99f, -0.16f},
    /* 112 */ {-0.98f,  0.20f}, {-0.64f, -0.77f}, { 0.74f,  0.67f}, { 0.09f, -1.00f},
              { 0.72f, -0.69f}, {-0.34f,  0.94f}, {-0.56f,  0.83f}, { 0.88f,  0.48f},
    /* 120 */ { 0.62f,  0.78f}, { 0.96f,  0.30f}, { 0.68f, -0.73f}, { 0.01f,  1.00f},
              {-0.27f, -0.96f}, { 0.85f,  0.53f}, {-0.05f,  1.00f}, {-0.15f, -0.99f},
};

/* 1/(4 + 2 cos(2 pi i / 128)) to six decimals */
const Complex spline_table[FFT_MAX / 2 + 1] = {
    /*  0 */ {0.166667f, 0.0f}, {0.166734f, 0.0f}, {0.166935f, 0.0f}, {0.167270f, 0.0f}, {0.167741f, 0.0f},
    /*  5 */ {0.168348f, 0.0f}, {0.169094f, 0.0f}, {0.169979f, 0.0f}, {0.171006f, 0.0f}, {0.172177f, 0.0f},
    /* 10 */ {0.173495f, 0.0f}, {0.174964f, 0.0f}, {0.176587f, 0.0f}, {0.178367f, 0.0f}, {0.180309f, 0.0f},
    /* 15 */ {0.182418f, 0.0f}, {0.184699f, 0.0f}, {0.187157f, 0.0f}, {0.189797f, 0.0f}, {0.192626f, 0.0f},
    /* 20 */ {0.195651f, 0.0f}, {0.198878f, 0.0f}, {0.202315f, 0.0f}, {0.205969f, 0.0f}, {0.209847f, 0.0f},
    /* 25 */ {0.213960f, 0.0f}, {0.218313f, 0.0f}, {0.222918f, 0.0f}, {0.227781f, 0.0f}, {0.232912f, 0.0f},
    /* 30 */ {0.238320f, 0.0f}, {0.244013f, 0.0f}, {0.250000f, 0.0f}, {0.256287f, 0.0f}, {0.262883f, 0.0f},
    /* 35 */ {0.269793f, 0.0f}, {0.277022f, 0.0f}, {0.284573f, 0.0f}, {0.292446f, 0.0f}, {0.300642f, 0.0f},
    /* 40 */ {0.309154f, 0.0f}, {0.317976f, 0.0f}, {0.327096f, 0.0f}, {0.336497f, 0.0f}, {0.346157f, 0.0f},
    /* 45 */ {0.356049f, 0.0f}, {0.366138f, 0.0f}, {0.376381f, 0.0f}, {0.386730f, 0.0f}, {0.397125f, 0.0f},
    /* 50 */ {0.407501f, 0.0f}, {0.417783f, 0.0f}, {0.427888f, 0.0f}, {0.437724f, 0.0f}, {0.447196f, 0.0f},
    /* 55 */ {0.456200f, 0.0f}, {0.464632f, 0.0f}, {0.472386f, 0.0f}, {0.479359f, 0.0f}, {0.485451f, 0.0f},
    /* 60 */ {0.490574f, 0.0f}, {0.494647f, 0.0f}, {0.497605f, 0.0f}, {0.499399f, 0.000001f}, {0.500000f, 0.0f},
};
// clang-format on

void noise_profile(int h, int cap, float rs, float *out) noexcept
{
    constexpr int STEPS = 9;
    constexpr float LAST = 8.995f; /* the end of the scale stays inside the last pair of rows */
    float x = rounded(STEPS * wide(rs));
    if (x >= static_cast<float>(STEPS))
        x = LAST;
    const int i = static_cast<int>(x);
    const float f = x - static_cast<float>(i);
    const float g = 1.0f - f;
    float c[4];
    for (int j = 0; j < 4; j++)
        c[j] = rounded(wide(g) * wide(noise_poly_table[i][j]) + wide(f) * wide(noise_poly_table[i + 1][j]));

    out[0] = 0.0f;
    const float d = 1.0f / static_cast<float>(h);
    float w = d; /* k/h as a running sum of floats */
    for (int k = 1; k <= h; k++) {
        const double v = wide(w);
        out[k] = rounded(((wide(c[3]) * v + wide(c[2])) * v + wide(c[1])) * v + wide(c[0]));
        w += d;
    }
    for (int k = h + 1; k <= cap; k++)
        out[k] = 0.0f;
}

void amp_profile(int count, const float *as, int h, int cap, float *out) noexcept
{
    out[0] = 0.0f;
    for (int k = 1; k <= count; k++)
        out[k] = as[k - 1];
    for (int k = count + 1; k <= h; k++)
        out[k] = 1.0f;
    for (int k = h + 1; k <= cap; k++)
        out[k] = 0.0f;
}

void fft_size_for(int length, int cap, int32_t *out) noexcept
{
    int size = 1;
    while (size < length)
        size *= 2;
    *out = size > cap ? cap : size;
}

void poly_mul2(int count, float *poly, float c1, float c2) noexcept
{
    poly[count + 1] = c2 * poly[count - 1];
    poly[count] = rounded(wide(c2) * wide(poly[count - 2]) + wide(c1) * wide(poly[count - 1]));
    for (int m = count - 1; m >= 2; m--)
        poly[m] = rounded(wide(c1) * wide(poly[m - 1]) + wide(c2) * wide(poly[m - 2]) + wide(poly[m]));
    poly[1] = rounded(wide(c1) * wide(poly[0]) + wide(poly[1]));
}

namespace
{

constexpr double TWO_PI = 6.283185307;

/** v(m+1) = 2 cos(step) v(m) - v(m-1), which both cos(m step) and sin(m step) obey */
float next_harmonic(float two_cos, float v, float before) noexcept
{
    return rounded(wide(two_cos) * wide(v) - wide(before));
}

/** poly at e^(i phi), its conjugate: (sum poly[j] cos(j phi), -sum poly[j] sin(j phi)) */
Complex polynomial_at(const float *poly, int terms, float cos_phi, float sin_phi) noexcept
{
    const float two_cos = 2.0f * cos_phi;
    float c_before = 1.0f, c = cos_phi;
    float s_before = 0.0f, s = sin_phi;
    double re = wide(poly[0]);
    double im = 0.0;
    for (int j = 1; j < terms; j++) {
        re += wide(poly[j]) * wide(c);
        im -= wide(poly[j]) * wide(s);
        const float c_next = next_harmonic(two_cos, c, c_before);
        const float s_next = next_harmonic(two_cos, s, s_before);
        c_before = c;
        c = c_next;
        s_before = s;
        s = s_next;
    }
    return {rounded(re), rounded(im)};
}

} // namespace

void lpc_spectrum(const float *poly, int terms, int p, Complex *out) noexcept
{
    double sum = 0.0;
    for (int j = 0; j < terms; j++)
        sum += wide(poly[j]);
    out[0] = {rounded(sum), 0.0f};

    const float theta = rounded(TWO_PI / p);
    float c_before = 1.0f, c = rounded(cos_wide(wide(theta)));
    float s_before = 0.0f, s = rounded(sin_wide(wide(theta)));
    const float two_cos = 2.0f * c;
    for (int k = 1; k <= p / 2; k++) {
        out[k] = polynomial_at(poly, terms, c, s);
        const float c_next = next_harmonic(two_cos, c, c_before);
        const float s_next = next_harmonic(two_cos, s, s_before);
        c_before = c;
        c = c_next;
        s_before = s;
        s = s_next;
    }
}

void mix_excitation(uint32_t *seed, int h, const float *amp, const float *noise, Complex *out) noexcept
{
    out[0] = {0.0f, 0.0f};
    for (int k = 1; k <= h; k++) {
        *seed = (*seed + 1) * 17 & 4095;
        float v = amp[k] - noise[k];
        if (v < 0.0f)
            v = 0.0f;
        const Complex P = phase_table[(k - 1) & (PHASES - 1)];
        const Complex Q = phase_table[*seed / 32];
        out[k] = {rounded(wide(v) * wide(P.re) + wide(noise[k]) * wide(Q.re)),
                  rounded(wide(v) * wide(P.im) + wide(noise[k]) * wide(Q.im))};
    }
}

void spectrum_shape(int h, const Complex *exc, const Complex *lpc, float scale, Complex *out) noexcept
{
    constexpr double TINY = 1e-10; /* keeps the quotients finite where a divisor vanishes */
    for (int k = 0; k <= h; k++) {
        const double xr = wide(exc[k].re), xi = wide(exc[k].im);
        const double br = wide(lpc[k].re), bi = wide(lpc[k].im);
        const double D = wide(rounded(br * br + bi * bi + TINY));
        out[k] = {rounded((br * xr + bi * xi) / D), rounded((br * xi - bi * xr) / D)};
    }

    double sum = TINY;
    for (int k = 1; k < h; k++)
        sum += wide(out[k].re) * wide(out[k].re) + wide(out[k].im) * wide(out[k].im);
    float E = rounded(sum);
    E = rounded(wide(E) + 0.5 * (wide(out[h].re) * wide(out[h].re) + wide(out[0].re) * wide(out[0].re)));

    const float F = rounded(h * wide(scale) * std::sqrt(2.0 / wide(E)));
    for (int k = 0; k <= h; k++)
        out[k] = {F * out[k].re, F * out[k].im};
}

void spectrum_trim(int p, int n, Complex *spec) noexcept
{
    if (n <= p)
        return;
    const int h = p / 2;
    for (int k = h + 1; k <= n / 2; k++)
        spec[k] = {0.0f, 0.0f};
    if (p % 2 == 0) /* the inverse transform doubles every bin below n/2 */
        spec[h] = {0.5f * spec[h].re, 0.5f * spec[h].im};
}

void spline_prefilter(int size, const Complex *table, int n, Complex *spec) noexcept
{
    const int s = size / n;
    for (int i = 0; i <= n / 2; i++) {
        const Complex x = spec[i];
        const Complex t = table[i * s];
        spec[i] = {rounded(wide(x.re) * wide(t.re) - wide(x.im) * wide(t.im)),
                   rounded(wide(x.re) * wide(t.im) + wide(x.im) * wide(t.re))};
    }
}

} // namespace talv::inline TALV_TARGET

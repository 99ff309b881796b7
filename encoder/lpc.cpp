#include "encoder/lpc.h"

#include "dsp/constants.h"
#include "dsp/lsf.h"
#include "dsp/trig.h"
#include "dsp/wide.h"

namespace talv
{

namespace
{

constexpr int TERMS_MAX = ORDER_MAX / 2 + 1; /* coefficients of a deflated sum or difference polynomial */

/* White noise 50 dB below the signal, added to lag 0, keeps the recursion well-conditioned; the floor stands in for it
 * when there is no signal. */
constexpr float ENERGY_FLOOR = 1e-6f;
constexpr double WHITE_NOISE = 1.00001;

constexpr Table<float, ANALYSIS_MAX> make_window() noexcept
{
    Table<float, ANALYSIS_MAX> table{};
    for (int i = 0; i < FRAME_LEN; i++)
        table.entry[i] = rounded(sin_wide(PI * i / FRAME_LEN));
    return table;
}

} // namespace

constexpr Table<float, ANALYSIS_MAX> analysis_window = make_window();

int getlsf2(const float *signal, int n, int order, float *lsf) noexcept
{
    if (n > ANALYSIS_MAX)
        return -1;
    if (order > ORDER_MAX)
        return -2;

    float work[ANALYSIS_MAX];
    float r[ORDER_MAX + 1];
    float a[ORDER_MAX];
    window_autocorr(signal, n, r, order, work, analysis_window);
    if (r[0] < ENERGY_FLOOR)
        r[0] = ENERGY_FLOOR;
    r[0] = rounded(wide(r[0]) * WHITE_NOISE);
    if (levinson(r, order, a) < 0.0f)
        return -3;
    if (lpc_to_lsf(lsf, a, order) < 0)
        return -4;
    if (lsf_stabilize(lsf, order, LSF_SPACING_ANALYSIS) < 0)
        return -5;
    return 0;
}

void window_autocorr(const float *x, int n, float *r, int order, float *work, const float *window) noexcept
{
    for (int i = 0; i < n; i++)
        work[i] = window[i] * x[i];

    /* All lags side by side, as far as all of them reach; each sum keeps its own order. */
    float sum[ORDER_MAX + 1] = {};
    const int common = n - order;
    for (int i = 0; i < common; i++)
        for (int lag = 0; lag <= order; lag++)
            sum[lag] = rounded(wide(sum[lag]) + wide(work[i]) * wide(work[i + lag]));
    for (int lag = 0; lag <= order; lag++) {
        for (int i = common; i < n - lag; i++)
            sum[lag] = rounded(wide(sum[lag]) + wide(work[i]) * wide(work[i + lag]));
        r[lag] = sum[lag];
    }
}

float levinson(const float *r, int order, float *a) noexcept
{
    for (int i = 0; i < order; i++)
        a[i] = 0.0f;

    float reversed[ORDER_MAX];
    float E = r[0];
    for (int i = 0; i < order; i++) {
        float t = r[i + 1];
        for (int j = 0; j < i; j++)
            t = rounded(wide(t) + wide(r[i - j]) * wide(a[j]));
        const float k = -t / E;
        E = rounded((1.0 - wide(k) * wide(k)) * wide(E));
        if (E <= 0.0f)
            return E;
        for (int j = 0; j < i; j++)
            reversed[j] = a[i - 1 - j];
        for (int j = 0; j < i; j++)
            a[j] = rounded(wide(a[j]) + wide(k) * wide(reversed[j]));
        a[i] = k;
    }
    return E;
}

float cheb_eval(float x, const float *c, int n) noexcept
{
    float b = 0.0f, b1 = 0.0f, b2 = 0.0f;
    float last_b2 = 0.0f; /* the b2 that entered the last step */
    for (int i = n - 1; i >= 0; i--) {
        b = rounded(2.0 * wide(x) * wide(b1) - wide(b2) + wide(c[i]));
        last_b2 = b2;
        b2 = b1;
        b1 = b;
    }
    return rounded((wide(c[0]) - wide(last_b2) + wide(b)) * 0.5);
}

namespace
{

/* The walk along x = cos(w) goes down by x x STEP_BEND + STEP_BASE: 0.0314 at x = 0 and 0.00197 at the ends, which are
 * steps of 0.015 to 0.06 radian in w. */
constexpr double STEP_DELTA = 0.03141592654;
constexpr float STEP_BASE = rounded(sin_wide(STEP_DELTA));
constexpr float STEP_BEND = rounded(4.0 - 4.0 * cos_wide(STEP_DELTA) - wide(STEP_BASE));
constexpr int BISECTIONS = 4;

/** Chebyshev series of the sum and difference polynomials, without their roots at z = -1 and z = +1
 *  cp, cq  O  [order/2 + 1]                                                                           */
void polynomial_pair(const float *a, int order, float *cp, float *cq) noexcept
{
    const int h = order / 2;
    float p[TERMS_MAX] = {1.0f};
    float q[TERMS_MAX] = {1.0f};
    for (int i = 1; i <= h; i++) {
        p[i] = a[i - 1] + a[order - i];
        q[i] = a[i - 1] - a[order - i];
    }
    for (int i = 1; i <= h; i++) {
        p[i] -= p[i - 1];
        q[i] += q[i - 1];
    }
    cp[0] = p[h];
    cq[0] = q[h];
    for (int j = 1; j <= h; j++) {
        cp[j] = 2.0f * p[h - j];
        cq[j] = 2.0f * q[h - j];
    }
}

/** The root of a Chebyshev series in [x, x_above], across which it changes sign: bisection, then a secant
 *  x, F  IO   lower end of the bracket and the series there; narrowed
 *  d     O    width of the narrowed bracket                                                                */
float refine_root(const float *c, int terms, float x_above, float F_above, float *x, float *F, float *d) noexcept
{
    *d = x_above - *x;
    for (int round = 0; round < BISECTIONS; round++) {
        *d *= 0.5f;
        const float xm = *x + *d;
        const float Fm = cheb_eval(xm, c, terms);
        if (wide(Fm) * wide(*F) > 0.0) {
            *x = xm;
            *F = Fm;
        } else {
            F_above = Fm;
        }
    }
    if (F_above == *F)
        return *x + *d;
    return rounded(wide(*x) + wide(*d) * wide(*F) / (wide(*F) - wide(F_above)));
}

} // namespace

int lpc_to_lsf(float *lsf, const float *a, int order) noexcept
{
    if (order > ORDER_MAX)
        return -1;

    const int terms = order / 2 + 1;
    float series[2][TERMS_MAX]; /* sum polynomial, difference polynomial */
    polynomial_pair(a, order, series[0], series[1]);

    int count = 0;
    const float *c = series[0];
    float x = 1.0f;
    float root_before = 2.0f;
    float F = cheb_eval(x, c, terms);
    while (count < order && x > -1.0f) {
        const float x_above = x;
        const float F_above = F;
        x = rounded(wide(x) - (wide(x) * wide(x) * wide(STEP_BEND) + wide(STEP_BASE)));
        if (x < -1.0f)
            x = -1.0f;
        F = cheb_eval(x, c, terms);
        if (wide(F) * wide(F_above) > 0.0)
            continue;

        float d;
        float root = refine_root(c, terms, x_above, F_above, &x, &F, &d);
        lsf[count++] = rounded(acos_wide(wide(root)));
        if (root >= root_before) /* rounding took it back over the root before: go on from below it */
            root = x - d;
        root_before = root;

        c = series[count % 2]; /* the roots of the two polynomials alternate */
        x = root;
        F = cheb_eval(x, c, terms);
    }
    return count == order ? 1 : -2;
}

} // namespace talv

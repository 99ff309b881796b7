#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/fft.h"
#include "encoder/conditioning.h"
#include "encoder/cycle.h"
#include "encoder/drift.h"
#include "encoder/gain.h"
#include "encoder/lag_score.h"
#include "encoder/lpc.h"
#include "encoder/pitch.h"
#include "encoder/rs.h"
#include "inner.h"

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr float LOUD = 1e6f;

struct LagRange {
    int lo, hi;
};

/** At least four lags, as all searches have */
LagRange lag_range(fuzz::Input &in)
{
    const int lo = in.integer(LAG_MIN, LAG_MAX - 3);
    return {lo, in.integer(lo + 3, LAG_MAX)};
}

void conditioning(fuzz::Input &in, Digest &digest)
{
    const int n = 4 * in.integer(1, FRAME_LEN / 4);
    Room<int16_t> pcm(n);
    for (int i = 0; i < n; i++)
        pcm[i] = static_cast<int16_t>(i < 8 ? in.half_word() : -pcm[i - 8]);
    Room<float> out(n), state = signal(in, 5, 0, 4e9f);
    iir_prefilter(prefilter_den, prefilter_num, pcm, out, state, n);
    float mean = static_cast<float>(static_cast<int16_t>(in.half_word()));
    dc_tracker(n, &mean, out);
    FUZZ_CHECK(fuzz::all_finite(out.all(), static_cast<size_t>(n)) && std::isfinite(mean));
    digest.add(out.all(), n);
    digest.add(state.all(), 5);
}

void residuals(fuzz::Input &in, Digest &digest)
{
    const int n = in.integer(1, FRAME_LEN);
    Room<float> x = signal(in, n, LPC_ORDER, LOUD), a = signal(in, LPC_ORDER, 0, 300.0f), out(n);
    lpc_residual(LPC_ORDER, n, x, a, out);
    add_floor_noise(n, out);
    digest.add(out.all(), n);
}

/** The whole cycle analysis at any lag, source reaching half a frame to either side as in the encoder */
void cycles(fuzz::Input &in, Digest &digest)
{
    const int P = in.integer(LAG_MIN, LAG_MAX), periods = FRAME_LEN / P;
    Room<float> source = signal(in, periods * P, 0, LOUD), cycle(P + 2, 1), coef(P + 2, 1), points(FFT_MAX);
    Room<Complex> spectrum(FFT_MAX / 2 + 1);
    Room<float> as(AS_DIM);
    cycle_fold(P, periods, source, cycle);
    cycle_resample(P, cycle, coef, FFT_MAX, points);
    real_fft(points, spectrum, FFT_MAX, FFT_MAX, fft_bitrev.entry, fft_twiddle.entry);
    cycle_amplitudes(AS_DIM, spectrum, as);
    for (int k = 0; k < AS_DIM; k++)
        FUZZ_CHECK(as[k] >= 0.0f && as[k] <= 3.17f); /* sqrt(10): all in one harmonic */
    digest.add(points.all(), FFT_MAX);
    digest.add(as.all(), AS_DIM);
}

/** A plain look at every longer lag within reach is what drift_maxima() must come to */
void drift(fuzz::Input &in, Digest &digest)
{
    const LagRange r = lag_range(in);
    Room<float> column = signal(in, r.hi - r.lo + 1, 0, LOUD), largest(r.hi - r.lo + 1);
    drift_maxima(column, r.lo, r.hi, largest);
    const int lag = in.integer(r.lo, r.hi);
    const int reach = drift_reach(lag, r.hi), offset = drift_offset(column, r.lo, r.hi, lag);
    FUZZ_CHECK(offset >= 0 && offset <= reach && lag + reach <= r.hi);
    int32_t plain = INT32_MIN;
    for (int j = 0; j <= reach; j++)
        plain = std::max(plain, std::bit_cast<int32_t>(column[lag - r.lo + j]));
    FUZZ_CHECK(std::bit_cast<int32_t>(largest[lag - r.lo]) == plain);
    FUZZ_CHECK(std::bit_cast<int32_t>(column[lag - r.lo + offset]) == plain);
    digest.add(largest.all(), largest.n);
    digest.add(offset);
}

void gains(fuzz::Input &in, Digest &digest)
{
    const int P = in.integer(LAG_MIN, LAG_MAX), seg = FRAME_LEN / QUARTERS;
    const int L = (seg + P - 1) / P * P;
    Room<float> x = signal(in, FRAME_LEN, L - seg, LOUD), out(QUARTERS);
    subframe_rms(x, FRAME_LEN, P, QUARTERS, out);
    for (int s = 0; s < QUARTERS; s++)
        FUZZ_CHECK(out[s] >= 0.0f && out[s] <= 1001.0f);
    digest.add(out.all(), QUARTERS);
}

/** The energies as they are defined, one lag after another from lag_hi down */
void slide_plainly(const float *x, int n, LagRange r, float *energies)
{
    wide_t E = wide(energy(x - r.hi, n));
    for (int lag = r.hi; lag >= r.lo; lag--) {
        energies[r.hi - lag] = rounded(E);
        E = wide(rounded(E - wide(x[-lag]) * wide(x[-lag])));
        E = wide(rounded(E + wide(x[n - lag]) * wide(x[n - lag])));
    }
}

void scores(fuzz::Input &in, Digest &digest)
{
    const LagRange r = lag_range(in);
    const int n = in.integer(r.hi, FRAME_LEN);
    Room<float> x = signal(in, n, r.hi, LOUD), S = values(in, r.hi - r.lo + 1, 0.0f, 1e12f);
    Room<float> energies(r.hi - r.lo + 1 + 4), ascending(r.hi - r.lo + 1);
    digest.add(slide_energy(x, n, r.lo, r.hi, energies));
    Room<float> plain(r.hi - r.lo + 1);
    slide_plainly(x, n, r, plain);
    FUZZ_CHECK(std::memcmp(plain.all(), energies.all(), static_cast<size_t>(plain.n) * sizeof(float)) == 0);
    std::reverse_copy(energies.all(), energies.all() + ascending.n, ascending.all());
    digest.add(ascending.all(), ascending.n);
    wide_t q = -1;
    const int lag = best_lag(S, ascending, r.lo, r.hi, &q);
    FUZZ_CHECK(lag >= r.lo && lag <= r.hi && q >= 0);
    digest.add(lag);
    digest.add(q);
}

void envelope_analysis(fuzz::Input &in, Digest &digest)
{
    const int order = 2 * in.integer(1, 9), n = in.integer(order, ANALYSIS_MAX + 1);
    Room<float> x = signal(in, n, 0, LOUD), lsf(order);
    const int status = getlsf2(x, n, order, lsf);
    FUZZ_CHECK(status <= 0 && status >= -5 && (n <= ANALYSIS_MAX || status == -1));
    if (status == 0)
        digest.add(lsf.all(), order);
    digest.add(status);
}

/** Roots of any polynomial, those of no stable filter too */
void roots(fuzz::Input &in, Digest &digest)
{
    const int order = 2 * in.integer(1, 9);
    Room<float> a = signal(in, order, 0, 1e4f), lsf(order);
    const int status = lpc_to_lsf(lsf, a, order);
    FUZZ_CHECK(status == 1 || status == (order > ORDER_MAX ? -1 : -2));
    if (status == 1)
        digest.add(lsf.all(), order);
    const int terms = in.integer(1, 9);
    Room<float> c = signal(in, terms, 0, LOUD);
    digest.add(cheb_eval(static_cast<float>(static_cast<int8_t>(in.byte())) / 128.0f, c, terms));
}

void autocorrelation(fuzz::Input &in, Digest &digest)
{
    const int order = in.integer(1, ORDER_MAX), n = in.integer(order, ANALYSIS_MAX);
    Room<float> x = signal(in, n, 0, LOUD), window = values(in, n, 0.0f, 1.0f), work(n), r(order + 1), a(order);
    window_autocorr(x, n, r, order, work, window);
    r[0] = std::max(r[0] * 1.00001f, 1e-6f);
    digest.add(levinson(r, order, a));
    FUZZ_CHECK(fuzz::all_finite(a.all(), static_cast<size_t>(order)));
    digest.add(a.all(), order);
}

void low_pass(fuzz::Input &in, Digest &digest)
{
    const int order = in.byte() % 2 == 0 ? LP_ORDER : RS_ORDER;
    const int n = 4 * in.integer((2 * order + 3) / 4, FRAME_LEN / 4);
    Room<float> x = signal(in, n, 0, LOUD), out(n), state = signal(in, 2 * order + 1, 0, LOUD);
    sym_fir(order, order == LP_ORDER ? lp_taps : rs_taps, n, x, out, state);
    digest.add(out.all(), n);
    digest.add(state.all(), state.n);
}

void pitch(fuzz::Input &in, Digest &digest)
{
    const LagRange r = lag_range(in);
    Room<float> x = signal(in, FRAME_LEN, r.hi, LOUD), corr = values(in, 3, 0.0f, 1.0f);
    Room<int32_t> lags(3);
    for (int i = 0; i < 3; i++)
        lags[i] = in.integer(LAG_MIN, LAG_MAX);
    pitch_search(MAX_SEGMENTS, FRAME_LEN, r.lo, r.hi, x, lags + 2, corr + 2);
    FUZZ_CHECK(lags[2] >= r.lo && lags[2] <= r.hi && corr[2] >= 0.0f && corr[2] <= 1.0f);
    int32_t settled = 0;
    pitch_track(corr, lags, &settled);
    FUZZ_CHECK(settled >= LAG_MIN && settled <= LAG_MAX);
    digest.add(settled);
    digest.add(corr.all(), 3);
}

void periodicity(fuzz::Input &in, Digest &digest)
{
    int32_t lo = 0, hi = 0;
    rs_lag_range(in.integer(LAG_MIN, LAG_MAX), &lo, &hi);
    FUZZ_CHECK(lo >= LAG_MIN && lo <= hi && hi <= LAG_MAX && hi - lo < RS_MAX_LAGS);
    Room<float> y = signal(in, FRAME_LEN, 120 + hi, LOUD);
    float values[RS_DIM] = {-1.0f, -1.0f};
    rs_values(y, lo, hi, values);
    for (const float rs : values) {
        FUZZ_CHECK(rs >= 0.0f && rs <= 1.0f);
        digest.add(rs);
    }
}

constexpr Case list[] = {conditioning,      residuals, cycles, drift,           gains,    scores,
                         envelope_analysis, roots,     pitch,  autocorrelation, low_pass, periodicity};

} // namespace

Cases encoder_cases()
{
    return {list, static_cast<int>(std::size(list))};
}

} // namespace talv::inline TALV_TARGET

#include "codec/frame.h"
#include "dsp/as_codebook.h"
#include "dsp/constants.h"
#include "dsp/correlate.h"
#include "dsp/fft.h"
#include "dsp/lsf.h"
#include "dsp/lsf_quant.h"
#include "dsp/msvq.h"
#include "dsp/vq.h"
#include "inner.h"

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr float LOUD = 1e6f;

void transforms(fuzz::Input &in, Digest &digest)
{
    const int n = 4 << in.byte() % 6;
    Room<float> x = signal(in, n, 0, LOUD), y(n);
    Room<Complex> spectrum(n / 2 + 1);
    real_fft(x, spectrum, n, FFT_MAX, fft_bitrev.entry, fft_twiddle.entry);
    Room<Spectrum> planes(1);
    for (int k = 0; k <= n / 2; k++) {
        planes[0].re[k] = spectrum[k].re;
        planes[0].im[k] = spectrum[k].im;
    }
    real_ifft(planes, y, n, FFT_MAX, fft_bitrev.entry, fft_twiddle.entry);
    digest.add(spectrum.all(), n / 2 + 1);
    digest.add(y.all(), n);
    float peak = 0.0f, worst = 0.0f;
    for (int i = 0; i < n; i++) {
        peak = std::max(peak, std::fabs(x[i]));
        worst = std::max(worst, std::fabs(x[i] - y[i]));
    }
    FUZZ_CHECK(worst <= 1e-4f * peak); /* twiddles have six decimals */
}

void correlations(fuzz::Input &in, Digest &digest)
{
    const int n = in.integer(1, FRAME_LEN), lo = in.integer(4, LAG_MAX), hi = in.integer(lo, LAG_MAX);
    Room<float> x = signal(in, n, hi, LOUD), out(hi - lo + 1);
    correlate_lags(x, n, lo, hi, static_cast<float>(in.byte()), out);
    digest.add(out.all(), out.n);
    const float e = energy(x, n);
    FUZZ_CHECK(std::isfinite(e) && e >= 0.0f);
    digest.add(e);
}

void lsf_to_filters(fuzz::Input &in, Digest &digest)
{
    const int order = 2 * in.integer(1, 9), steps = in.integer(1, MAX_SUBFRAMES);
    Room<float> from = lsf_vector(in, order, in.byte() % 2 == 0), to = lsf_vector(in, order, in.byte() % 2 == 0);
    Room<float> lpc(order * steps);
    const int status = intrp_lsf_lpc(from, to, order, steps, lpc);
    FUZZ_CHECK(status == (order > LSF_STORE ? -1 : 0));
    if (status == 0)
        digest.add(lpc.all(), lpc.n);
}

void one_filter(fuzz::Input &in, Digest &digest)
{
    const int order = 2 * in.integer(1, 17);
    Room<float> lsf = lsf_vector(in, order, in.byte() % 2 == 0), lpc(order);
    const int status = lsf_to_lpc(order, lsf, lpc);
    FUZZ_CHECK(status == (order > 32 ? -1 : 0));
    if (status == 0)
        digest.add(lpc.all(), order);
}

void stabilising(fuzz::Input &in, Digest &digest)
{
    const int order = in.integer(1, LSF_STORE);
    const float spacing = static_cast<float>(in.byte()) / 512.0f;
    Room<float> lsf = lsf_vector(in, order, in.byte() % 4 == 0);
    lsf_stabilize(lsf, order, spacing);
    constexpr float ROUNDING = 2e-6f;
    for (int k = 0; k < order; k++)
        FUZZ_CHECK(lsf[k] >= (k == 0 ? 0.0f : lsf[k - 1]) +
                                 std::min(spacing, 3.14159f / static_cast<float>(order + 1)) - ROUNDING);
    FUZZ_CHECK(lsf[order - 1] <= 3.14159f + ROUNDING);
    digest.add(lsf.all(), order);
}

void quantising_lsfs(fuzz::Input &in, Digest &digest)
{
    Room<float> lsf = lsf_vector(in, LPC_ORDER, in.byte() % 2 == 0), again(LPC_ORDER);
    Room<int32_t> index(LPC_ORDER);
    lsf_quant(lsf, index, LPC_ORDER, lsf_levels, lsf_level_counts);
    for (int k = 0; k < LPC_ORDER; k++)
        FUZZ_CHECK(index[k] >= 0 && index[k] < lsf_level_counts[k]);
    lsf_dequant(again, index, LPC_ORDER, lsf_levels, lsf_level_counts);
    digest.add(index.all(), LPC_ORDER);
    digest.add(again.all(), LPC_ORDER);
}

void full_search(fuzz::Input &in, Digest &digest)
{
    const int dim = in.integer(1, 12), row_len = in.integer(dim, 14), rows = in.integer(1, AS_ROWS);
    Room<float> table = signal(in, row_len * rows, 0, 100.0f), vector = signal(in, dim, 0, 100.0f), row(dim);
    int32_t index = -1;
    vq_search(row_len, dim, vector, rows, table, &index);
    FUZZ_CHECK(index >= 0 && index < rows);
    FUZZ_CHECK(ivsvq2(row_len, dim, row, rows, table, index) == 0);
    FUZZ_CHECK(std::memcmp(row.all(), vector.all(), static_cast<size_t>(dim) * sizeof(float)) == 0);
    digest.add(index);
    const auto any = static_cast<int32_t>(in.word());
    FUZZ_CHECK(ivsvq2(row_len, dim, row, rows, table, any) == (any >= 0 && any < rows ? 0 : -1));
    digest.add(row.all(), dim);
}

void gain_search(fuzz::Input &in, Digest &digest)
{
    Room<float> target = signal(in, QUARTERS, 0, 1e5f), work(QUARTERS), again(QUARTERS);
    Room<int32_t> index(GAIN_STAGES);
    msvq_search(QUARTERS, gain_stage_sizes, gain_codebook, target, work, index);
    for (int s = 0; s < GAIN_STAGES; s++)
        FUZZ_CHECK(index[s] >= 0 && index[s] < GAIN_STAGE_ROWS);
    msvq_decode(QUARTERS, gain_stage_sizes, gain_codebook, again, index);
    FUZZ_CHECK(std::memcmp(work.all(), again.all(), QUARTERS * sizeof(float)) == 0);
    digest.add(index.all(), GAIN_STAGES);
}

void frame_fields(fuzz::Input &in, Digest &digest)
{
    Room<uint8_t> frame(FRAME_BYTES), again(FRAME_BYTES);
    for (int i = 0; i < FRAME_BYTES; i++)
        frame[i] = in.byte();
    FrameParams params;
    frame_unpack(frame, &params);
    frame_pack(&params, again);
    frame[FRAME_BYTES - 1] &= 0xF0;
    FUZZ_CHECK(std::memcmp(frame.all(), again.all(), FRAME_BYTES) == 0);
    digest.add(params.as_index);
}

constexpr Case list[] = {transforms,      correlations, lsf_to_filters, one_filter,  stabilising,
                         quantising_lsfs, full_search,  gain_search,    frame_fields};

} // namespace

Cases dsp_cases()
{
    return {list, static_cast<int>(std::size(list))};
}

} // namespace talv::inline TALV_TARGET

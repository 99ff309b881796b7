/* How far the float-only blocks (TALV_FLOAT_ONLY) differ from the codec that all other builds share
 *
 *   talv_float_only [--at-most SHARE DB SNR] FILE|FOLDER...      (the bundled recordings if none is named)
 *
 * Both copies are linked into this program. Every recording (8 kHz, mono, found below the folders) is encoded by both;
 * each frame of the common codec is decoded by both, and the float-only frames by the float-only decoder. Told are:
 *   - the share of frames with any different index, and of each field,
 *   - the signal-to-noise ratio of the float-only decoder on the same frames, over windows above 1 in amplitude,
 *   - the spectral distance of the two chains from speech to speech: RMS over 16 bands of 250 Hz in windows of 20 ms.
 * With --at-most the exit status is 1 where the share of frames (in per cent) or the mean spectral distance is higher, or
 * the ratio lower.
 */
#include "codec/frame.h"
#include "codec/instance.h"
#include "decoder/decoder.h"
#include "encoder/encoder.h"
#include "tests/stream/spectrum.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sndfile.h>
#include <string>
#include <vector>

namespace talv::float_only
{
void encoder_reset(EncoderState *enc) noexcept;
void encoder_analyse(EncoderState *enc, const int16_t *pcm, FrameParams *params) noexcept;
void decoder_reset(DecoderState *dec) noexcept;
void decoder_synthesise(DecoderState *dec, const FrameParams *params, int16_t *pcm) noexcept;
} // namespace talv::float_only

namespace
{

using namespace talv;

constexpr const char *FIELD_NAMES[] = {"pitch", "LSFs", "gains", "periodicity", "amplitudes"};
constexpr int FIELDS = 5;

struct Totals {
    long files = 0, frames = 0, differing = 0, field[FIELDS] = {}, windows = 0;
    double signal = 0, noise = 0, distance = 0, largest = 0;
};

/** The samples of a recording, or nothing where it is not one at 8 kHz, mono */
std::vector<int16_t> read(const std::string &path)
{
    SF_INFO info = {};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<int16_t> x;
    if (file != nullptr && info.samplerate == 8000 && info.channels == 1) {
        x.resize(static_cast<size_t>(info.frames));
        x.resize(static_cast<size_t>(sf_read_short(file, x.data(), info.frames)));
    }
    if (file != nullptr)
        sf_close(file);
    return x;
}

bool same(const int32_t *a, const int32_t *b, int n)
{
    return std::equal(a, a + n, b);
}

void compare_frames(const FrameParams &a, const FrameParams &b, Totals *totals)
{
    const bool differ[FIELDS] = {a.pitch_index != b.pitch_index, !same(a.lsf_index, b.lsf_index, LPC_ORDER),
                                 !same(a.gain_index, b.gain_index, 2), a.rs_index != b.rs_index,
                                 a.as_index != b.as_index};
    for (int f = 0; f < FIELDS; f++)
        totals->field[f] += differ[f] ? 1 : 0;
    totals->differing += std::find(differ, differ + FIELDS, true) != differ + FIELDS ? 1 : 0;
    totals->frames++;
}

void compare_spectra(const std::vector<int16_t> &a, const std::vector<int16_t> &b, Totals *totals)
{
    for (size_t at = 0; at + test::SPECTRUM_N <= a.size(); at += test::SPECTRUM_N) {
        if (test::rms(a.data() + at, test::SPECTRUM_N) < 10.0) /* silence has no spectrum to be heard */
            continue;
        const test::BandLevels x = test::band_levels(a.data() + at), y = test::band_levels(b.data() + at);
        double sum = 0.0;
        for (int band = 0; band < test::BANDS; band++)
            sum += (x.db[band] - y.db[band]) * (x.db[band] - y.db[band]) / test::BANDS;
        totals->distance += std::sqrt(sum);
        totals->largest = std::max(totals->largest, std::sqrt(sum));
        totals->windows++;
    }
}

void run(const std::vector<int16_t> &x, Totals *totals)
{
    static EncoderState enc, enc_float;
    static DecoderState dec, dec_float, chain_float;
    enc = {};
    enc_float = {};
    baseline::encoder_reset(&enc);
    float_only::encoder_reset(&enc_float);
    baseline::decoder_reset(&dec);
    float_only::decoder_reset(&dec_float);
    float_only::decoder_reset(&chain_float);
    std::vector<int16_t> out(x.size() / FRAME_LEN * FRAME_LEN), out_chain(out.size());
    for (size_t at = 0; at < out.size(); at += FRAME_LEN) {
        FrameParams params, params_float;
        int16_t given[FRAME_LEN];
        baseline::encoder_analyse(&enc, x.data() + at, &params);
        float_only::encoder_analyse(&enc_float, x.data() + at, &params_float);
        compare_frames(params, params_float, totals);
        baseline::decoder_synthesise(&dec, &params, out.data() + at);
        float_only::decoder_synthesise(&dec_float, &params, given);
        float_only::decoder_synthesise(&chain_float, &params_float, out_chain.data() + at);
        for (int i = 0; i < FRAME_LEN; i++) {
            const double v = out[at + static_cast<size_t>(i)], e = v - given[i];
            totals->signal += v * v;
            totals->noise += e * e;
        }
    }
    compare_spectra(out, out_chain, totals);
    totals->files++;
}

void run_path(const std::filesystem::path &path, Totals *totals)
{
    std::vector<std::filesystem::path> files = {path};
    if (std::filesystem::is_directory(path)) {
        files.clear();
        for (const auto &entry : std::filesystem::recursive_directory_iterator(path))
            if (entry.is_regular_file())
                files.push_back(entry.path());
        std::sort(files.begin(), files.end());
    }
    for (const auto &file : files) {
        const std::vector<int16_t> x = read(file.string());
        if (!x.empty())
            run(x, totals);
    }
}

} // namespace

int main(int argc, char **argv)
{
    Totals totals;
    int first = 1;
    const bool limited = argc >= 5 && std::strcmp(argv[1], "--at-most") == 0;
    if (limited)
        first = 5;
    else if (argc > 1 && argv[1][0] == '-') {
        std::fprintf(stderr, "usage: talv_float_only [--at-most SHARE DB SNR] FILE|FOLDER...\n");
        return 2;
    }
    for (int a = first; a < argc; a++)
        run_path(argv[a], &totals);
    if (first >= argc)
        run_path(TALV_SAMPLES_DIR, &totals);
    if (totals.frames == 0 || totals.windows == 0) {
        std::fprintf(stderr, "talv_float_only: no recording at 8 kHz, mono, was found\n");
        return 2;
    }

    const double share = 100.0 * static_cast<double>(totals.differing) / static_cast<double>(totals.frames);
    const double snr_db = 10.0 * std::log10(totals.signal / std::max(totals.noise, 1e-9));
    const double distance_db = totals.distance / static_cast<double>(totals.windows);
    std::printf("%ld recordings, %ld frames, %.1f minutes\n", totals.files, totals.frames,
                static_cast<double>(totals.frames) * 0.03 / 60.0);
    std::printf("frames with any different index: %.3f %%\n", share);
    for (int f = 0; f < FIELDS; f++)
        std::printf("    %-12s %.3f %%\n", FIELD_NAMES[f],
                    100.0 * static_cast<double>(totals.field[f]) / static_cast<double>(totals.frames));
    std::printf("decoder on the same frames: signal-to-noise ratio %.1f dB\n", snr_db);
    std::printf("speech to speech: spectral distance %.3f dB in the mean, at most %.1f dB\n", distance_db,
                totals.largest);
    if (limited && (share > std::atof(argv[2]) || distance_db > std::atof(argv[3]) || snr_db < std::atof(argv[4]))) {
        std::printf("more than allowed: %s %% of the frames, %s dB, and %s dB at least\n", argv[2], argv[3], argv[4]);
        return 1;
    }
    return 0;
}

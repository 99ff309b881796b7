/* Long streams through one instance: hours of speech, and ten thousand recoveries from garbage.
 *
 *   talv_long FOLDER [HOURS [TRIES [SEED]]]
 *
 * FOLDER holds recordings, WAV, 8 kHz, mono, 16 bit, at any depth. They are joined at random, with changing gain, offset,
 * noise, clipping and gaps. Measured are:
 *
 *   silence    after a gap, how many frames of zeros it takes until the frames sent are those of an encoder that never
 *              heard a sound, and what is then left in its history
 *   resets     encoder and decoder after a reset against new ones, to the bit
 *   recovery   after 1 to 20 frames of garbage, how many good frames it takes until the samples are those of a decoder
 *              that always got good ones. Two things of a decoder never come back and are no fault: where in a pitch
 *              cycle it reads, and the state of its noise. The second decoder takes them over when one good frame has
 *              passed; from then on they go on alike, and the samples can be compared.                              */
#include "codec/instance.h"
#include "tests/stream/host.h"
#include "tests/support/signals.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

using namespace talv;
using test::Random;

namespace
{

using test::Codec;
using test::open_codec;

/** Every *.wav in the order of the names; one of another rate ends the run */
std::vector<test::Pcm> load_folder(const char *folder)
{
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.path().extension() == ".wav")
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    std::vector<test::Pcm> recordings;
    for (const auto &path : paths)
        recordings.push_back(test::read_wav(path));
    std::erase_if(recordings, [](const test::Pcm &x) { return x.size() < FRAME_LEN; });
    return recordings;
}

/** Speech without end: one passage after another, each of a recording under conditions of its own */
class Talk
{
public:
    Talk(const std::vector<test::Pcm> &recordings, uint64_t seed) : recordings_(recordings), random_(seed) { turn(); }

    /** Does the next frame begin a new passage? */
    bool at_turn() const { return at_ + FRAME_LEN > recording_->size(); }

    void next(int16_t *pcm)
    {
        if (at_turn())
            turn();
        for (int i = 0; i < FRAME_LEN; i++) {
            const double v =
                gain_ * (*recording_)[at_ + static_cast<size_t>(i)] + offset_ + random_.uniform(-noise_, noise_);
            pcm[i] = static_cast<int16_t>(std::lround(std::clamp(v, -32768.0, 32767.0)));
        }
        at_ += FRAME_LEN;
    }

private:
    void turn()
    {
        recording_ = &recordings_[static_cast<size_t>(random_.integer(0, static_cast<int>(recordings_.size()) - 1))];
        at_ = 0;
        gain_ = std::pow(10.0, random_.uniform(-40.0, 30.0) / 20.0); /* up to heavy clipping */
        offset_ = random_.integer(0, 3) == 0 ? random_.uniform(-3000.0, 3000.0) : 0.0;
        noise_ = random_.integer(0, 2) == 0 ? std::pow(10.0, random_.uniform(0.0, 3.5)) : 0.0;
    }

    const std::vector<test::Pcm> &recordings_;
    Random random_;
    const test::Pcm *recording_ = nullptr;
    size_t at_ = 0;
    double gain_ = 1.0, offset_ = 0.0, noise_ = 0.0;
};

/** Counts of a whole number, printed as quantiles */
struct Counts {
    std::vector<int> values;

    void print(const char *what)
    {
        std::sort(values.begin(), values.end());
        const auto at = [this](double q) {
            return values[static_cast<size_t>(q * static_cast<double>(values.size() - 1))];
        };
        std::printf("%s: %zu times, median %d, 90 %% %d, 99 %% %d, 99.9 %% %d, most %d\n", what, values.size(), at(0.5),
                    at(0.9), at(0.99), at(0.999), values.back());
        std::fflush(stdout);
    }
};

bool all_finite(const TALV_Codec &codec)
{
    const auto finite = [](const float *x, size_t n) {
        return std::all_of(x, x + n, [](float v) { return std::isfinite(v); });
    };
    return finite(codec.enc.sig_hist, SIG_HIST_LEN) && finite(codec.enc.lp_hist, RES_HIST_LEN) &&
           finite(codec.dec.syn_hist, 257) && finite(codec.dec.out_hist, 256);
}

double peak(const float *x, int n)
{
    double top = 0.0;
    for (int i = 0; i < n; i++)
        top = std::max(top, std::fabs(static_cast<double>(x[i])));
    return top;
}

/** Frames of zeros until every frame sent from there on is the one that silence alone gives, of `longest` */
int frames_to_silence(TALV_Codec *codec, const uint8_t *silent_frame, int longest, double *level)
{
    const int16_t zeros[FRAME_LEN] = {};
    uint8_t frame[FRAME_BYTES];
    uint32_t nbytes;
    int settled = 0;
    for (int t = 1; t <= longest; t++) {
        TALV_SpeechEncode(codec, zeros, frame, &nbytes);
        if (std::memcmp(frame, silent_frame, FRAME_BYTES) != 0)
            settled = t;
    }
    *level = peak(codec->enc.sig_hist, SIG_HIST_LEN - FRAME_LEN);
    return settled;
}

bool stream_hours(const std::vector<test::Pcm> &recordings, double hours, uint64_t seed)
{
    constexpr int GAP = 34, SETTLING = 400; /* about a second; 12 s */
    const Codec codec = open_codec(), silent = open_codec(), fresh = open_codec();
    Random random(seed);
    Talk talk(recordings, seed + 1);
    uint8_t silent_frame[FRAME_BYTES], frame[FRAME_BYTES];
    double silent_level = 0.0, worst_level = 0.0;
    frames_to_silence(silent.get(), frame, SETTLING, &silent_level);
    const int16_t zeros[FRAME_LEN] = {};
    uint32_t nbytes;
    TALV_SpeechEncode(silent.get(), zeros, silent_frame, &nbytes);

    const auto total = static_cast<int64_t>(hours * 3600.0 * 1000.0 / 30.0);
    Counts settled;
    int64_t resets = 0;
    int16_t pcm[FRAME_LEN], out[FRAME_LEN];
    for (int64_t t = 0; t < total; t++) {
        if (talk.at_turn() && random.integer(0, 1) == 0) {
            double level = 0.0;
            settled.values.push_back(frames_to_silence(codec.get(), silent_frame, GAP, &level));
            worst_level = std::max(worst_level, level);
            t += GAP;
        } else if (talk.at_turn() && random.integer(0, 7) == 0) {
            TALV_EncodeInit(codec.get());
            TALV_DecodeInit(codec.get());
            /* What a reset leaves is written before it is read: give it to the new one, and compare all. */
            TALV_EncodeInit(fresh.get());
            std::memcpy(fresh->enc.lsf_new, codec->enc.lsf_new, sizeof fresh->enc.lsf_new);
            fresh->enc.pitch_hist[2] = codec->enc.pitch_hist[2];
            fresh->enc.corr_hist[2] = codec->enc.corr_hist[2];
            TALV_DecodeInit(fresh.get());
            if (std::memcmp(&codec->enc, &fresh->enc, sizeof codec->enc) != 0 ||
                std::memcmp(&codec->dec, &fresh->dec, sizeof codec->dec) != 0) {
                std::printf("frame %lld: a reset left something\n", static_cast<long long>(t));
                return false;
            }
            resets++;
        }
        talk.next(pcm);
        TALV_SpeechEncode(codec.get(), pcm, frame, &nbytes);
        TALV_SpeechDecode(codec.get(), frame, out, &nbytes);
        if (t % 1000 == 0 && !all_finite(*codec)) {
            std::printf("frame %lld: not finite\n", static_cast<long long>(t));
            return false;
        }
    }
    std::printf("%.1f hours, %lld frames, %lld resets exact\n", hours, static_cast<long long>(total),
                static_cast<long long>(resets));
    settled.print("frames of zeros until those of silence are sent");
    std::printf("largest conditioned sample after %d frames of zeros: %.3g; in silence alone: %.3g\n", GAP, worst_level,
                silent_level);
    return true;
}

struct Recovery {
    int one_step = 0; /* good frames until the samples differ by at most one PCM step from there on */
    int same = 0;     /* and until they are the same from there on                                  */
};

/** Two decoders, the second of which got good frames throughout, are given good frames for a while */
Recovery recover(Talk *talk, TALV_Codec *encoder, TALV_Codec *hit, TALV_Codec *well)
{
    constexpr int WATCHED = 25;
    Recovery recovery;
    int16_t pcm[FRAME_LEN], a[FRAME_LEN], b[FRAME_LEN];
    uint8_t frame[FRAME_BYTES];
    uint32_t nbytes;
    for (int t = 0; t < WATCHED; t++) {
        if (t == 1) {
            well->dec.noise_seed = hit->dec.noise_seed;
            well->dec.cycle_phase = hit->dec.cycle_phase;
        }
        talk->next(pcm);
        TALV_SpeechEncode(encoder, pcm, frame, &nbytes);
        TALV_SpeechDecode(hit, frame, a, &nbytes);
        TALV_SpeechDecode(well, frame, b, &nbytes);
        for (int i = 0; i < FRAME_LEN; i++) {
            if (std::abs(a[i] - b[i]) > 1)
                recovery.one_step = t + 1;
            if (a[i] != b[i])
                recovery.same = t + 1;
        }
    }
    return recovery;
}

void recover_often(const std::vector<test::Pcm> &recordings, int tries, uint64_t seed)
{
    const Codec encoder = open_codec(), hit = open_codec(), well = open_codec();
    Talk talk(recordings, seed + 2);
    Random random(seed + 3);
    Counts one_step, same;
    int16_t pcm[FRAME_LEN];
    uint8_t frame[FRAME_BYTES], garbage[FRAME_BYTES];
    uint32_t nbytes;
    for (int n = 0; n < tries; n++) {
        for (int g = random.integer(1, 20); g > 0; g--) {
            talk.next(pcm);
            TALV_SpeechEncode(encoder.get(), pcm, frame, &nbytes);
            for (uint8_t &b : garbage)
                b = static_cast<uint8_t>(random.next());
            TALV_SpeechDecode(hit.get(), garbage, pcm, &nbytes);
            TALV_SpeechDecode(well.get(), frame, pcm, &nbytes);
        }
        const Recovery recovery = recover(&talk, encoder.get(), hit.get(), well.get());
        one_step.values.push_back(recovery.one_step);
        same.values.push_back(recovery.same);
        well->dec = hit->dec; /* the next try begins with both alike */
    }
    one_step.print("good frames until within one step");
    same.print("good frames until the same");
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: talv_long FOLDER [HOURS [TRIES [SEED]]]\n");
        return 2;
    }
    const std::vector<test::Pcm> recordings = load_folder(argv[1]);
    if (recordings.empty()) {
        std::fprintf(stderr, "talv_long: %s: no recordings at 8 kHz\n", argv[1]);
        return 2;
    }
    const double hours = argc > 2 ? std::atof(argv[2]) : 24.0;
    const uint64_t seed = argc > 4 ? std::strtoull(argv[4], nullptr, 10) : 1;
    if (!stream_hours(recordings, hours, seed))
        return 1;
    recover_often(recordings, argc > 3 ? std::atoi(argv[3]) : 10000, seed);
    return 0;
}

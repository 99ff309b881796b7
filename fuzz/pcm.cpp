#include "pcm.h"

#include "check.h"

#include <algorithm>
#include <cmath>

namespace talv::fuzz
{

namespace
{

constexpr int TOP = 32767, BOTTOM = -32768;

int16_t clipped(double v) noexcept
{
    return static_cast<int16_t>(std::lround(std::clamp(v, static_cast<double>(BOTTOM), static_cast<double>(TOP))));
}

/** Raw samples, over and over when there are fewer than a block; half of what is left, so that blocks follow */
void raw(Input &in, int16_t *pcm) noexcept
{
    const size_t given = std::clamp<size_t>(in.left() / 4, 1, FRAME_LEN);
    for (size_t i = 0; i < given; i++)
        pcm[i] = static_cast<int16_t>(in.half_word());
    for (size_t i = given; i < FRAME_LEN; i++)
        pcm[i] = pcm[i - given];
}

/** Each bit a sample at one end of the range */
void full_scale(Input &in, int16_t *pcm) noexcept
{
    const size_t given = std::clamp<size_t>(in.left() / 2, 1, FRAME_LEN / 8) * 8;
    uint8_t bits = 0;
    for (size_t i = 0; i < given; i++, bits = static_cast<uint8_t>(bits >> 1)) {
        if (i % 8 == 0)
            bits = in.byte();
        pcm[i] = static_cast<int16_t>((bits & 1) != 0 ? TOP : BOTTOM);
    }
    for (size_t i = given; i < FRAME_LEN; i++)
        pcm[i] = pcm[i - given];
}

void square(Input &in, int16_t *pcm) noexcept
{
    const int half = 1 + in.byte();
    const int high = static_cast<int16_t>(in.half_word()), low = static_cast<int16_t>(in.half_word());
    for (int i = 0; i < FRAME_LEN; i++)
        pcm[i] = static_cast<int16_t>(i / half % 2 == 0 ? high : low);
}

/** Two sines whose frequencies glide by a straight line, clipped where they are too loud */
void chirps(Input &in, int16_t *pcm) noexcept
{
    constexpr double PI = 3.14159265358979323846;
    double frequency[2], ramp[2], amplitude[2], phase[2] = {};
    for (int k = 0; k < 2; k++) {
        frequency[k] = PI * in.byte() / 255.0;
        ramp[k] = (PI * in.byte() / 255.0 - frequency[k]) / FRAME_LEN;
        amplitude[k] = std::ldexp(1.0, in.byte() % 18) - 1.0;
    }
    for (int i = 0; i < FRAME_LEN; i++) {
        double sum = 0.0;
        for (int k = 0; k < 2; k++) {
            sum += amplitude[k] * std::sin(phase[k]);
            phase[k] += frequency[k];
            frequency[k] += ramp[k];
        }
        pcm[i] = clipped(sum);
    }
}

void pulses(Input &in, int16_t *pcm) noexcept
{
    const int lag = 1 + in.byte(), first = in.byte() % lag;
    const int16_t height = static_cast<int16_t>(in.half_word()), level = static_cast<int8_t>(in.byte());
    for (int i = 0; i < FRAME_LEN; i++)
        pcm[i] = i % lag == first ? height : level;
}

void noise(Input &in, int16_t *pcm) noexcept
{
    const int shift = in.byte() % 16;
    uint32_t state = in.half_word();
    for (int i = 0; i < FRAME_LEN; i++) {
        state = (state * 25173u + 13849u) & 0xFFFF;
        pcm[i] = static_cast<int16_t>((static_cast<int>(state) + BOTTOM) >> shift);
    }
}

constexpr int SPEECH_LEN = 40000; /* 5 s */

const int16_t *load_speech()
{
    static int16_t speech[SPEECH_LEN];
    constexpr long WAV_HEADER = 44;
    std::FILE *file = std::fopen(TALV_SAMPLES_DIR "/en_m_jfk.wav", "rb");
    FUZZ_CHECK(file != nullptr && std::fseek(file, WAV_HEADER, SEEK_SET) == 0);
    const size_t got = std::fread(speech, sizeof *speech, SPEECH_LEN, file);
    FUZZ_CHECK(got >= 2 * FRAME_LEN);
    std::fclose(file);
    return speech;
}

/** A bundled recording, from any multiple of 30 samples on, and its loudness */
void speech(Input &in, int16_t *pcm) noexcept
{
    static const int16_t *const recording = load_speech();
    const int from = in.half_word() % (SPEECH_LEN / 30 - FRAME_LEN / 30) * 30, gain = in.byte();
    for (int i = 0; i < FRAME_LEN; i++)
        pcm[i] = clipped(recording[from + i] * (gain == 0 ? 1.0 : gain / 8.0));
}

} // namespace

void make_block(Input &in, int16_t *pcm) noexcept
{
    switch (in.byte() % 10) {
    case 0:
        return raw(in, pcm);
    case 1:
        return full_scale(in, pcm);
    case 2:
        return square(in, pcm);
    case 3:
        return chirps(in, pcm);
    case 4:
        return pulses(in, pcm);
    case 5:
        return noise(in, pcm);
    case 6: /* silence, in which all memories run down towards the smallest floats */
        std::fill_n(pcm, FRAME_LEN, int16_t{0});
        return;
    case 7: { /* a constant */
        const auto level = static_cast<int16_t>(in.half_word());
        std::fill_n(pcm, FRAME_LEN, level);
        return;
    }
    case 8:
        return speech(in, pcm);
    default: /* the block before, louder or softer */
        const int gain = in.byte();
        for (int i = 0; i < FRAME_LEN; i++)
            pcm[i] = clipped(pcm[i] * gain / 64.0);
        return;
    }
}

} // namespace talv::fuzz

/** A host of the library, for tests: whole streams in, whole streams out, by the six functions alone */
#ifndef TALV_TESTS_STREAM_HOST_H
#define TALV_TESTS_STREAM_HOST_H

#include "codec/talvcodec.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace talv::test
{

using Frame = std::array<uint8_t, TALV_FRAME_BYTES>;
using Pcm = std::vector<int16_t>;

struct CloseCodec {
    void operator()(TALV_Codec *codec) const { TALV_CodecClose(codec); }
};
using Codec = std::unique_ptr<TALV_Codec, CloseCodec>;

inline Codec open_codec()
{
    TALV_Codec *codec = nullptr;
    if (TALV_CodecOpen(&codec) != TALV_OK)
        throw std::runtime_error("no memory for an instance");
    return Codec(codec);
}

/** One call each; what they promise about their results is tested on every call */
inline Frame encode_one(TALV_Codec *codec, const int16_t *pcm)
{
    Frame frame;
    uint32_t bytes = 0;
    if (TALV_SpeechEncode(codec, pcm, frame.data(), &bytes) != TALV_OK || bytes != TALV_FRAME_BYTES ||
        (frame[7] & 0x0F) != 0)
        throw std::runtime_error("TALV_SpeechEncode broke its word");
    return frame;
}

inline void decode_one(TALV_Codec *codec, const Frame &frame, int16_t *pcm)
{
    uint32_t bytes = 0;
    if (TALV_SpeechDecode(codec, frame.data(), pcm, &bytes) != TALV_OK || bytes != TALV_FRAME_BYTES)
        throw std::runtime_error("TALV_SpeechDecode broke its word");
}

/** Whole frames of a signal, through an instance as it stands; a rest shorter than a frame is left out */
inline std::vector<Frame> encode(TALV_Codec *codec, const Pcm &pcm)
{
    std::vector<Frame> frames;
    for (size_t at = 0; at + TALV_FRAME_SAMPLES <= pcm.size(); at += TALV_FRAME_SAMPLES)
        frames.push_back(encode_one(codec, pcm.data() + at));
    return frames;
}

inline Pcm decode(TALV_Codec *codec, const std::vector<Frame> &frames)
{
    Pcm pcm(frames.size() * TALV_FRAME_SAMPLES);
    for (size_t t = 0; t < frames.size(); t++)
        decode_one(codec, frames[t], pcm.data() + t * TALV_FRAME_SAMPLES);
    return pcm;
}

inline std::vector<Frame> encode(const Pcm &pcm)
{
    return encode(open_codec().get(), pcm);
}
inline Pcm decode(const std::vector<Frame> &frames)
{
    return decode(open_codec().get(), frames);
}

/** A recording that comes with the project */
struct Clip {
    std::string name;
    Pcm pcm;
};

/** Samples of a WAV file: PCM, 8 kHz, mono, 16 bit, little-endian like the machines that the tests run on */
inline Pcm read_wav(const std::filesystem::path &path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    const auto number = [&bytes](size_t at, size_t size) {
        uint32_t v = 0;
        std::memcpy(&v, bytes.data() + at, size);
        return v;
    };
    if (bytes.size() < 12 || bytes.compare(0, 4, "RIFF") != 0 || bytes.compare(8, 4, "WAVE") != 0)
        throw std::runtime_error(path.string() + ": not a WAV file");
    bool fits = false;
    for (size_t at = 12; at + 8 <= bytes.size();) {
        const std::string name = bytes.substr(at, 4);
        const size_t size = std::min<size_t>(number(at + 4, 4), bytes.size() - at - 8);
        if (name == "fmt " && size >= 16)
            fits = number(at + 8, 2) == 1 && number(at + 10, 2) == 1 && number(at + 12, 4) == TALV_SAMPLE_RATE &&
                   number(at + 22, 2) == 16;
        if (name == "data" && fits) {
            Pcm pcm(size / 2);
            std::memcpy(pcm.data(), bytes.data() + at + 8, pcm.size() * 2);
            return pcm;
        }
        at += 8 + size + size % 2;
    }
    throw std::runtime_error(path.string() + ": not PCM, 8 kHz, mono, 16 bit");
}

/** Every bundled clip, by name */
inline const std::vector<Clip> &clips()
{
    static const std::vector<Clip> all = [] {
        std::vector<Clip> found;
        for (const auto &entry : std::filesystem::directory_iterator(TALV_SAMPLES_DIR))
            if (entry.path().extension() == ".wav")
                found.push_back({entry.path().stem().string(), read_wav(entry.path())});
        std::sort(found.begin(), found.end(), [](const Clip &a, const Clip &b) { return a.name < b.name; });
        if (found.size() < 4)
            throw std::runtime_error("too few recordings in " TALV_SAMPLES_DIR);
        return found;
    }();
    return all;
}

/** What goes to standard output while an action runs */
template <typename Action>
std::string captured(Action action)
{
    ::testing::internal::CaptureStdout();
    action();
    return ::testing::internal::GetCapturedStdout();
}

} // namespace talv::test

#endif

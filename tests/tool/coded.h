/** A recording to be coded, and what the tool says about it */
#ifndef TALV_TESTS_TOOL_CODED_H
#define TALV_TESTS_TOOL_CODED_H

#include "process.h"
#include "sound.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sndfile.h>
#include <sstream>

namespace talv_test
{

/** n samples of a voice, from a place in a bundled recording on */
inline Pcm part(size_t n, size_t from = 0)
{
    const Pcm x = read_pcm(sample("en_m_jfk"));
    return Pcm(x.begin() + static_cast<int>(from), x.begin() + static_cast<int>(from + n));
}

inline void write_wav(const std::string &path, const Pcm &x)
{
    write_pcm(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, x);
}

/** Five seconds of that voice, over and over */
inline Pcm long_voice(int times)
{
    const Pcm once = part(40000);
    Pcm x;
    for (int k = 0; k < times; k++)
        x.insert(x.end(), once.begin(), once.end());
    return x;
}

/** Samples as x.wav, and coded by the tool as x.talv */
inline void write_coded(const Folder &folder, const Pcm &x)
{
    write_wav(folder / "x.wav", x);
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
}

/** What --json prints: an object a line */
inline std::vector<nlohmann::json> json_lines(const std::string &text)
{
    std::vector<nlohmann::json> all;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        all.push_back(nlohmann::json::parse(line));
    return all;
}

} // namespace talv_test

#endif

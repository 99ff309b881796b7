/** A recording to be coded, and what the tool says about it */
#ifndef TALV_TESTS_TOOL_CODED_H
#define TALV_TESTS_TOOL_CODED_H

#include "sound.h"

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

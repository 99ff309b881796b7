/** The bundled recordings in one piece */
#ifndef TALV_BENCH_PEERS_SPEECH_H
#define TALV_BENCH_PEERS_SPEECH_H

#include "tests/stream/host.h"

namespace talv::bench
{

/** All recordings one after the other, cut to a multiple of `unit` samples */
inline std::vector<int16_t> bundled_speech(size_t unit)
{
    std::vector<int16_t> pcm;
    for (const test::Clip &clip : test::clips())
        pcm.insert(pcm.end(), clip.pcm.begin(), clip.pcm.end());
    pcm.resize(pcm.size() / unit * unit);
    return pcm;
}

} // namespace talv::bench

#endif

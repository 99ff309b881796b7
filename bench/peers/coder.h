/** A speech codec as a host of telephone speech sees it: 8 kHz, mono, 16 bits, a frame a call */
#ifndef TALV_BENCH_PEERS_CODER_H
#define TALV_BENCH_PEERS_CODER_H

#include "library.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talv::bench
{

inline constexpr size_t MAX_FRAME_BYTES = 64; /* of one frame of any codec here */

/** Encode the next frame of a stream
 *
 *  pcm      I    one frame of samples; left as they are
 *  frame    O    at most MAX_FRAME_BYTES bytes
 *  return        bytes written
 */
using EncodeFrame = std::function<size_t(int16_t *pcm, uint8_t *frame)>;

/** Decode the next frame of a stream
 *
 *  frame    I    what EncodeFrame wrote; left as it is
 *  nbytes   I    bytes of it
 *  pcm      O    one frame of samples
 */
using DecodeFrame = std::function<void(uint8_t *frame, size_t nbytes, int16_t *pcm)>;

/** A codec in one of its modes. What starts a stream throws std::runtime_error when the codec refuses. */
struct Coder {
    std::string name;
    size_t frame_len;                         /* samples a frame                          */
    std::function<EncodeFrame()> new_encoder; /* each call starts a stream of its own,    */
    std::function<DecodeFrame()> new_decoder; /* which ends with the routine it gives     */
};

std::vector<Coder> talv_coders(const std::string &name, const std::string &library_path);

/* One routine for each library that was found when the programs were built */
std::vector<Coder> codec2_coders();
std::vector<Coder> speex_coders();
std::vector<Coder> opus_coders();
std::vector<Coder> gsm_coders();
std::vector<Coder> spandsp_coders();

/** The state that a library made, or std::runtime_error when it made none */
template <typename State, typename Free>
std::shared_ptr<State> owned(State *state, Free free, const char *name)
{
    if (state == nullptr)
        throw std::runtime_error(std::string(name) + " refuses to open");
    return {state, [free](State *s) { free(s); }};
}

} // namespace talv::bench

#endif

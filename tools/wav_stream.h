/** WAV without seeking
 *
 *  A program that writes WAV into a pipe does not know its length and cannot come back to fill it in, and the reader
 *  cannot look ahead. So both ends of a pipe are served here, sample by sample: the header is read up to the first
 *  sample, and written with the length open.
 *  Source: Microsoft and IBM, RIFF WAVE file format, 1991, and its extensible form of 2001.
 */
#ifndef TALV_TOOLS_WAV_STREAM_H
#define TALV_TOOLS_WAV_STREAM_H

#include "input_file.h"

#include <array>
#include <cstdint>
#include <string>

namespace talv
{

struct WavFormat {
    int coding = 0;      /* libsndfile's subtype: SF_FORMAT_PCM_16 and its like       */
    int channels = 0;    /* at least 1                                                */
    int rate_hz = 0;     /* at least 1                                                */
    int frame_bytes = 0; /* of one sample of all channels                             */
    int64_t nbytes = -1; /* of sample data; -1: up to the end of the stream           */
};

/** Read a WAV header from a pipe, up to the first sample
 *  head     O   all bytes that were taken from the pipe
 *  return       true, and the format; false when it is not WAV, or not one of plain samples (8 to 32-bit PCM, float,
 *               A-law, mu-law)
 */
bool read_wav_header(InputFile &in, WavFormat &format, std::string &head);

/** The header of 16-bit mono WAV
 *  nbytes   of sample data; -1 when nobody knows yet (the sizes then stand at their largest value, which readers take
 *           as "up to the end"), and so are lengths beyond the 4 GiB that WAV can tell
 */
std::array<uint8_t, 44> wav_header(int rate_hz, int64_t nbytes);

} // namespace talv

#endif

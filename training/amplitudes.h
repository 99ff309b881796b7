/** The vectors that the codebook is for: what the encoder measures, frame by frame, before it quantises */
#ifndef TALV_TRAINING_AMPLITUDES_H
#define TALV_TRAINING_AMPLITUDES_H

#include "dsp/constants.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace talv
{

/** One frame as the encoder saw it */
struct AmplitudeFrame {
    float amplitude[AS_DIM]; /* cycle_amplitudes: harmonics 1 to 10, mean square 1                               */
    float rms;               /* conditioned signal in the 240 samples that the cycle is taken from, scale of PCM */
    int32_t as_index;        /* the row that the encoder chose in training/neutral, its table here                */
};

/** Run the encoder over a recording
 *  pcm       I   8 kHz, at its natural level; samples behind the last whole frame are left out
 *  return        one element a frame. The first two describe the silence before the recording.
 *
 *  The driver keeps its amplitude vector to itself, so it is computed once more after each call from what the call
 *  left: the residual around the pivot, a frame further down by then, and the settled lag. It is the same vector bit
 *  for bit, as the row that vq_search finds for it shows.                                                          */
std::vector<AmplitudeFrame> analyse_amplitudes(const std::vector<int16_t> &pcm);

/** Level from which on a frame of a recording counts as speech, as an RMS in the scale of PCM
 *
 *  15.9 dB below the mean power of the frames that are themselves above it, found by iteration from all frames: the
 *  margin that ITU-T P.56 puts between active speech level and threshold. It follows the level of the recording, lets
 *  weak consonants in and keeps pauses and their noise out, as long as these do not fill nine tenths of the recording.
 *  Never below 10 (-70 dBFS): there is no speech there.                                                             */
float speech_threshold(std::span<const AmplitudeFrame> frames);

/** Read a recording
 *  return        8 kHz, 16 bit, channels averaged, level unchanged
 *  throws        std::runtime_error when the file is no audio, is damaged or has another sampling rate             */
std::vector<int16_t> read_pcm(const std::string &path);

} // namespace talv

#endif

/** Sounds for the tests: read, written, made and measured */
#ifndef TALV_TESTS_TOOL_SOUND_H
#define TALV_TESTS_TOOL_SOUND_H

#include <cstdint>
#include <string>
#include <vector>

namespace talv_test
{

using Pcm = std::vector<int16_t>;

/** A bundled recording's path, by its name without ending */
std::string sample(const std::string &name);
const std::vector<std::string> &sample_names();

/** The samples of an 8 kHz mono file; throws when it is anything else */
Pcm read_pcm(const std::string &path);

/** Write interleaved samples, full scale -1..1, in one of libsndfile's formats */
void write_sound(const std::string &path, int format, int rate_hz, int channels, const std::vector<double> &x);

/** The same of 8 kHz mono, sample values unchanged where the format has 16 bits or more */
void write_pcm(const std::string &path, int format, const Pcm &x);

/** Little-endian bytes of samples, and back */
std::string bytes_of(const Pcm &x);
Pcm pcm_of(const std::string &bytes);

Pcm tone(double hz, double amplitude, size_t n);

/** The lag in samples at which the spectra of y fit those of x best: positive when y is late
 *
 *  The codec keeps no waveform, so it is the shapes of the short-time spectra (levels of 15 bands in dB, less their
 *  mean over the bands and their mean over time) that are correlated. Level is left out because it is no clock: a gain
 *  is the level of a stretch that lies before the point where the decoder reaches it.
 *  lag_max   samples to look to both sides; the answer is a multiple of 16
 */
int spectral_lag(const Pcm &x, const Pcm &y, int lag_max);

double rms(const Pcm &x);

} // namespace talv_test

#endif

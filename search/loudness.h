/** Loudness of mel bands: what the search compares
 *
 *  Windows of WINDOW_LEN samples follow each other every WINDOW_STEP; four of them end within a frame, at its 60th,
 *  120th, 180th and 240th sample. A band's loudness is its power to the power of 5/32, so that a relative change weighs
 *  much the same wherever it lies between soft and loud.
 *
 *  Source: Stevens, Volkmann and Newman, "A Scale for the Measurement of the Psychological Magnitude Pitch", JASA 8,
 *          1937; Stevens, "On the Psychophysical Law", Psychological Review 64, 1957, on loudness as a power of the
 *          sound's (0.3 for a tone; half of that weighs the soft parts of speech as its understanding does).
 */
#ifndef TALV_SEARCH_LOUDNESS_H
#define TALV_SEARCH_LOUDNESS_H

#include "dsp/constants.h"
#include "dsp/simd_float.h"
#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

inline constexpr int BANDS = 40; /* triangular, evenly spaced in mel, centres 74 to 3746 Hz */
inline constexpr int WINDOW_LEN = 256;
inline constexpr int WINDOW_STEP = FRAME_LEN / LANES;
inline constexpr int WINDOW_PAST = WINDOW_LEN - WINDOW_STEP; /* samples before the frame that its first window reads */

/** Loudness of the four windows that end in a frame */
struct Loudness {
    Float4 band[BANDS]; /* lane w belongs to window w */
};

/** Loudness of a frame of a signal in the scale of 16-bit PCM
 *  x  I  [-WINDOW_PAST .. FRAME_LEN-1]   index 0 is the first sample of the frame                                   */
void frame_loudness(const float *x, Loudness *out) noexcept;

/** Sum of (a - b)^2 over the bands, window by window */
Float4 loudness_distance(const Loudness *a, const Loudness *b) noexcept;

/** Sum over the bands, window by window */
Float4 total_loudness(const Loudness *a) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

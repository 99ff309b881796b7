/** Amplitude codebook of the encoder that measures the training vectors
 *
 *  The encoder adds floor_noise, which is derived from the codebook, to its signals: at 1e-7 of a PCM step, but enough
 *  to turn a last bit here and there and to lead the training to another of its many equally good tables. With the
 *  table in use in the trainer's encoder, a command would hence never make the same table twice. This one takes its
 *  place, so that what is trained hangs on the recordings and the seed alone.
 */
#ifndef TALV_DSP_AS_CODEBOOK_H
#define TALV_DSP_AS_CODEBOOK_H

#include "dsp/constants.h"
#include "dsp/table.h"
#include "dsp/vq.h"

namespace talv
{

/* Says that this is the table that was included */
inline constexpr bool AS_CODEBOOK_IS_NEUTRAL = true;

/** Element i: the fractional part of i times the golden ratio, spread over 0.4..1.6. The sequence of Weyl, "Über die
 *  Gleichverteilung von Zahlen mod. Eins", Math. Annalen 77, 1916: no two rows are alike, and none has a peak. */
constexpr Table<float, AS_ROWS * AS_DIM> make_neutral_codebook() noexcept
{
    Table<float, AS_ROWS * AS_DIM> table{};
    double fraction = 0.0;
    for (float &element : table.entry) {
        fraction += 0.6180339887498949;
        if (fraction >= 1.0)
            fraction -= 1.0;
        element = static_cast<float>(0.4 + 1.2 * fraction);
    }
    return table;
}

inline constexpr Table<float, AS_ROWS *AS_DIM> as_codebook = make_neutral_codebook();

} // namespace talv

#endif

/** The gains' codebook of two stages, and its search
 *
 *  A row of each stage, added up, stand for a frame's gains. Distances are those of dsp/vq.h, compared strictly as well.
 *
 *  Source: LeBlanc et al., "Efficient Search and Design Procedures for Robust Multi-Stage VQ of LPC Parameters for
 *          4 kb/s Speech Coding", IEEE Trans. Speech Audio Proc. 1, 1993.
 */
#ifndef TALV_DSP_MSVQ_H
#define TALV_DSP_MSVQ_H

#include "dsp/constants.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TABLES
{

inline constexpr int GAIN_STAGES = 2;
inline constexpr int GAIN_STAGE_ROWS = 32;

extern const float gain_codebook[GAIN_STAGES * GAIN_STAGE_ROWS * QUARTERS]; /* square roots of an RMS */
extern const int32_t gain_stage_sizes[GAIN_STAGES];

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

/** M-best search (M = 3) of a two-stage codebook
 *  stage_sizes  I  [2]    rows of each stage
 *  table        I         stage 0, then stage 1, dim floats a row
 *  target       I  [dim]
 *  work         O  [dim]  the sum of the two rows chosen, bit for bit that of msvq_decode
 *  index        O  [2]                                                                                              */
void msvq_search(int dim, const int32_t *stage_sizes, const float *table, const float *target, float *work,
                 int32_t *index) noexcept;

/** Sum of the two rows that index selects
 *  out       O  [dim]
 *  index     I  [2]       not tested; a field of the frame cannot leave its stage                                   */
void msvq_decode(int dim, const int32_t *stage_sizes, const float *table, float *out, const int32_t *index) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

/** Vector codebooks and their search
 *
 *  Rows lie one behind the other. Distances are plain squared errors, summed in double in rising order and rounded to
 *  float; they are compared strictly, so that of equal distances the lower row wins.
 *
 *  Source: Gersho and Gray, Vector Quantization and Signal Compression, Kluwer 1992; M-best search: LeBlanc et al.,
 *          "Efficient Search and Design Procedures for Robust Multi-Stage VQ of LPC Parameters for 4 kb/s Speech
 *          Coding", IEEE Trans. Speech Audio Proc. 1, 1993.
 */
#ifndef TALV_DSP_VQ_H
#define TALV_DSP_VQ_H

#include "dsp/constants.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TABLES
{

inline constexpr int RS_ROWS = 32;
inline constexpr int AS_ROWS = 128;
inline constexpr int GAIN_STAGES = 2;
inline constexpr int GAIN_STAGE_ROWS = 32;

extern const float rs_codebook[RS_ROWS * RS_DIM];                           /* pairs of periodicity values, 0..1    */
extern const float gain_codebook[GAIN_STAGES * GAIN_STAGE_ROWS * QUARTERS]; /* two stages whose rows add up; gains
                                                                                 are square roots of an RMS          */
extern const int32_t gain_stage_sizes[GAIN_STAGES];
/* as_codebook has a header of its own, dsp/as_codebook.h */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

/** Full search
 *  row_len   I            distance between the starts of two rows, floats
 *  dim       I            elements that count
 *  vector    IO [dim]     replaced by the row chosen
 *  rows      I
 *  table     I  [rows][row_len]
 *  index     O            the row chosen, 0..rows-1                                                                 */
void vq_search(int row_len, int dim, float *vector, int rows, const float *table, int32_t *index) noexcept;

/** Fetch a row
 *  out       O  [dim]
 *  return    0, or -1 for an index outside 0..rows-1 (row 0 is then fetched)                                        */
int ivsvq2(int row_len, int dim, float *out, int rows, const float *table, int32_t index) noexcept;

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

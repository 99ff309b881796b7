/** Vector codebooks and their search
 *
 *  Rows lie one behind the other. Distances are plain squared errors, summed in double in rising order and rounded to
 *  float; they are compared strictly, so that of equal distances the lower row wins.
 *
 *  Source: Gersho and Gray, Vector Quantization and Signal Compression, Kluwer 1992.
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

extern const float rs_codebook[RS_ROWS * RS_DIM]; /* pairs of periodicity values, 0..1 */
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

} // namespace talv::inline TALV_TARGET

#endif

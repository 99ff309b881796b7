/** Scalar quantiser of the line spectral frequencies, 31 bits a vector
 *
 *  Element 0 is coded as it is, each further element as its distance from the element before as the decoder will
 *  rebuild it, so that the quantising errors do not add up along the vector.
 */
#ifndef TALV_DSP_LSF_QUANT_H
#define TALV_DSP_LSF_QUANT_H

#include "dsp/constants.h"
#include "dsp/target.h"

#include <cstdint>

namespace talv::inline TALV_TABLES
{

inline constexpr int LSF_LEVEL_TOTAL = 92;

extern const float lsf_levels[LSF_LEVEL_TOTAL];   /* ten ascending lists, end to end, radians       */
extern const int32_t lsf_level_counts[LPC_ORDER]; /* length of each list, 2^lsf_level_bits          */
inline constexpr int32_t lsf_level_bits[LPC_ORDER] = {4, 4, 3, 3, 3,
                                                      3, 3, 3, 3, 2}; /* width of each field of the frame */

} // namespace talv::inline TALV_TABLES

namespace talv::inline TALV_TARGET
{

/** Find the level nearest to a value
 *  value   O            the level chosen
 *  x       I            the value to be coded, radians
 *  list    I  [count]   ascending levels, so far apart that no two distances below x, or above it, round alike; count is
 *                       4, 8, 12 or 16
 *  return               index of the level; of equal (float-rounded) distances the lower index wins                */
int nearest_value(float *value, float x, const float *list, int count) noexcept;

/** Quantise an LSF vector
 *  lsf     I  [order]   radians; need not be ordered
 *  index   O  [order]   index[k] < counts[k]
 *  levels  I            the lists, end to end
 *  counts  I  [order]   their lengths                                                                              */
void lsf_quant(const float *lsf, int32_t *index, int order, const float *levels, const int32_t *counts) noexcept;

/** Rebuild an LSF vector from its indices: the running sum of the levels, bit for bit the one of lsf_quant
 *  lsf     O  [order]   radians, ascending, not clamped
 *  index   I  [order]   not tested; a field of the frame cannot leave its list                                     */
void lsf_dequant(float *lsf, const int32_t *index, int order, const float *levels, const int32_t *counts) noexcept;

} // namespace talv::inline TALV_TARGET

#endif

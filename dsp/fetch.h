/** Memory asked for ahead of its use
 *
 *  Where thousands of instances take turns their state comes from memory each time, and a call that came upon one line
 *  of it after the other would wait a tenth of its time. A large state is better asked for piece by piece, since what is
 *  needed first would otherwise wait for the rest.
 */
#ifndef TALV_DSP_FETCH_H
#define TALV_DSP_FETCH_H

#include "dsp/simd.h"

#include <cstddef>

namespace talv::inline TALV_TARGET
{

/** Ask for a stretch of memory that is soon to be read and written */
inline void fetch_ahead(const void *from, size_t nbytes) noexcept
{
#ifndef TALV_SIMD_PLAIN
    constexpr size_t CACHE_LINE = 64;
    const char *first = static_cast<const char *>(from);
    _Pragma("GCC unroll 8") for (size_t at = 0; at < nbytes; at += CACHE_LINE) __builtin_prefetch(first + at, 1);
    __builtin_prefetch(first + nbytes - 1, 1);
#else
    static_cast<void>(from);
    static_cast<void>(nbytes);
#endif
}

} // namespace talv::inline TALV_TARGET

#endif

/** A constant table computed at compile time */
#ifndef TALV_DSP_TABLE_H
#define TALV_DSP_TABLE_H

#include "dsp/target.h"

namespace talv::inline TALV_TARGET
{

/** An array that a constexpr routine can return; used as the pointer to its first entry, like any array */
template <typename T, int N>
struct Table {
    T entry[N];
    constexpr operator const T *() const noexcept { return entry; }
};

} // namespace talv::inline TALV_TARGET

#endif

/** A constant table computed at compile time */
#ifndef TALV_DSP_TABLE_H
#define TALV_DSP_TABLE_H

namespace talv
{

/** An array that a constexpr routine can return; used as the pointer to its first entry, like any array. The conversion
 *  is no routine that the linker could take from another copy of the blocks (dsp/target.h).                          */
template <typename T, int N>
struct Table {
    T entry[N];
    __attribute__((always_inline)) constexpr operator const T *() const noexcept { return entry; }
};

} // namespace talv

#endif

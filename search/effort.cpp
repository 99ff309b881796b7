#include "search/effort.h"

namespace talv::inline TALV_TARGET
{

namespace
{

// clang-format off
/* Cost of each beside the others and what it buys: docs/search-results.md */
constexpr Effort efforts[EFFORT_MAX] = {
    /*      frames held_back passes next pairs gains envelopes amplitudes periodicities */
    /* 1 */ {  2,      0,       0,    0,   0,    1,        1,         1,            1 },
    /* 2 */ {  2,      0,       2,    1,   0,    6,        4,         5,            5 },
    /* 3 */ {  3,      0,       4,    2,   1,   12,        8,        10,            6 },
    /* 4 */ {  3,      0,       4,    3,   4,   20,       12,        16,            8 },
    /* 5 */ {  4,      2,       4,    3,   4,   32,       16,        32,            8 },
};
// clang-format on

} // namespace

const Effort *effort_level(int effort) noexcept
{
    return &efforts[effort - 1];
}

} // namespace talv::inline TALV_TARGET

#include "search/effort.h"

namespace talv::inline TALV_TARGET
{

namespace
{

// clang-format off
/* Cost of each beside the others and what it buys: docs/search.md */
constexpr Effort efforts[EFFORT_MAX] = {
    /*      ahead passes next lags gains envelopes amplitudes periodicities */
    /* 1 */ {  1,     0,   0,   0,    1,        1,         1,            1 },
    /* 2 */ {  1,     2,   1,   0,    6,        4,         5,            5 },
    /* 3 */ {  1,     4,   2,   0,   12,        8,        10,            8 },
    /* 4 */ {  1,     6,   2,   0,   20,       12,        16,            8 },
    /* 5 */ {  2,     4,   2,   0,   20,       12,        16,            8 },
};
// clang-format on

} // namespace

const Effort *effort_level(int effort) noexcept
{
    return &efforts[effort - 1];
}

} // namespace talv::inline TALV_TARGET

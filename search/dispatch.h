/** Choice of the copy of the search that suits the processor, as codec/dispatch.h chooses among the blocks below it */
#ifndef TALV_SEARCH_DISPATCH_H
#define TALV_SEARCH_DISPATCH_H

#include "codec/frame.h"

#include <cstddef>
#include <cstdint>

namespace talv
{

/** The frame driver of one target (search/search.h) on a state that it alone knows */
struct SearchRoutines {
    size_t state_size, state_align;
    int (*reset)(void *state, int effort) noexcept; /* returns how many frames are held back beyond the plain delay */
    void (*frame)(void *state, const int16_t *pcm, FrameParams *params) noexcept;
};

extern const SearchRoutines baseline_search;
extern const SearchRoutines avx2_search; /* where the build has it */

/** The fastest routines that this processor can run */
const SearchRoutines *choose_search() noexcept;

} // namespace talv

#endif

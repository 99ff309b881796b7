/* The entry points of the search, compiled once for each target like the blocks that it is made of */
#include "search/dispatch.h"
#include "search/search.h"

#define TALV_JOINED(a, b) a##b
#define TALV_SEARCH_OF(target) TALV_JOINED(target, _search)

namespace talv
{

namespace
{

int reset(void *state, int effort) noexcept
{
    SearchState *search = static_cast<SearchState *>(state);
    search_reset(search, effort);
    return search->trial.effort->held_back;
}

void frame(void *state, const int16_t *pcm, FrameParams *params) noexcept
{
    search_frame(static_cast<SearchState *>(state), pcm, params);
}

} // namespace

const SearchRoutines TALV_SEARCH_OF(TALV_TARGET) = {sizeof(SearchState), alignof(SearchState), reset, frame};

} // namespace talv

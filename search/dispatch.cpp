#include "search/dispatch.h"

#include "codec/dispatch.h"

namespace talv
{

const SearchRoutines *choose_search() noexcept
{
#ifdef TALV_WITH_AVX2
    if (choose_routines() == &avx2_routines)
        return &avx2_search;
#endif
    return &baseline_search;
}

} // namespace talv

/* The inner routines (inner.h) of every copy of the blocks, which are to give the same. */
#include "inner.h"

#include "codec/dispatch.h"

#ifdef TALV_WITH_AVX2
namespace talv::avx2
{
uint64_t run_inner(const uint8_t *data, size_t size);
}
#endif

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 4)
        return 0;
    const uint64_t result = talv::baseline::run_inner(data, size);
#ifdef TALV_WITH_AVX2
    static const bool two_copies = talv::choose_routines() != &talv::baseline_routines;
    if (two_copies)
        FUZZ_CHECK(talv::avx2::run_inner(data, size) == result);
#endif
    return static_cast<int>(result & 0); /* used, so that it is worked out */
}

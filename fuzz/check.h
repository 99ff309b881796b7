/** What every target asserts: a condition that fails ends the run like any other fault that a sanitizer finds */
#ifndef TALV_FUZZ_CHECK_H
#define TALV_FUZZ_CHECK_H

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                                          \
    do {                                                                                                               \
        if (!(condition)) {                                                                                            \
            std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition);                               \
            std::abort();                                                                                              \
        }                                                                                                              \
    } while (false)

namespace talv::fuzz
{

/** Neither infinite nor NaN; under the memory sanitizer it also finds elements that were never written */
inline bool all_finite(const float *x, size_t n)
{
    constexpr uint32_t EXPONENT = 0x7F800000; /* all of it set: infinite or NaN */
    uint32_t bad = 0;
    for (size_t i = 0; i < n; i++)
        bad |= (std::bit_cast<uint32_t>(x[i]) & EXPONENT) == EXPONENT ? 1u : 0u;
    return bad == 0;
}

} // namespace talv::fuzz

#endif

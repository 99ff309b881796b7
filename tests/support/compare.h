/** Comparison of float arrays, with every digit in the message */
#ifndef TALV_TESTS_SUPPORT_COMPARE_H
#define TALV_TESTS_SUPPORT_COMPARE_H

#include <bit>
#include <cmath>
#include <cstdint>
#include <gtest/gtest.h>
#include <iomanip>

namespace talv::test
{

/** Bit for bit: 0 and -0 differ, a NaN equals itself */
inline ::testing::AssertionResult same_bits(const float *got, const float *want, int n)
{
    for (int i = 0; i < n; i++)
        if (std::bit_cast<uint32_t>(got[i]) != std::bit_cast<uint32_t>(want[i]))
            return ::testing::AssertionFailure() << std::setprecision(9) << "element " << i << " of " << n << ": got "
                                                 << got[i] << ", wanted " << want[i] << " bit for bit";
    return ::testing::AssertionSuccess();
}

inline ::testing::AssertionResult same_bits(float got, float want)
{
    return same_bits(&got, &want, 1);
}

/** |got - wanted| <= tolerance in every element; a NaN is never close */
template <typename Wanted>
::testing::AssertionResult all_near(const float *got, const Wanted *want, int n, double tolerance)
{
    for (int i = 0; i < n; i++) {
        const long double error = std::fabs(static_cast<long double>(got[i]) - static_cast<long double>(want[i]));
        if (!(error <= static_cast<long double>(tolerance)))
            return ::testing::AssertionFailure()
                   << std::setprecision(9) << "element " << i << " of " << n << ": got " << got[i] << ", wanted "
                   << want[i] << ", apart " << static_cast<double>(error) << ", allowed " << tolerance;
    }
    return ::testing::AssertionSuccess();
}

/** FNV-1a over the bit patterns of a table, low byte first: one changed digit changes it */
inline uint32_t table_checksum(const float *table, int n)
{
    uint32_t hash = 0x811C9DC5u;
    for (int i = 0; i < n; i++)
        for (int shift = 0; shift < 32; shift += 8)
            hash = (hash ^ (std::bit_cast<uint32_t>(table[i]) >> shift & 0xFFu)) * 0x01000193u;
    return hash;
}

} // namespace talv::test

#endif

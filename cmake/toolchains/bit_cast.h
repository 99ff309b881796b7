/* std::bit_cast for C++ headers that are older than the compiler's own (libc++ 13 under clang 14) */
#ifdef __cplusplus
#include <bit>
#ifndef __cpp_lib_bit_cast
namespace std
{
template <class To, class From>
constexpr To bit_cast(const From &from) noexcept
{
    return __builtin_bit_cast(To, from);
}
} // namespace std
#endif
#endif

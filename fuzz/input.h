/** The bytes that the fuzzer hands to a target, read one after another; beyond their end they are 0 */
#ifndef TALV_FUZZ_INPUT_H
#define TALV_FUZZ_INPUT_H

#include <bit>
#include <cstddef>
#include <cstdint>

namespace talv::fuzz
{

struct Input {
    const uint8_t *data;
    size_t size;
    size_t at = 0;

    bool empty() const noexcept { return at >= size; }
    size_t left() const noexcept { return size - at; }

    uint8_t byte() noexcept { return empty() ? uint8_t{0} : data[at++]; }

    uint16_t half_word() noexcept
    {
        const int low = byte(), high = byte();
        return static_cast<uint16_t>(low | high << 8);
    }

    uint32_t word() noexcept
    {
        const uint32_t low = half_word();
        return low | static_cast<uint32_t>(half_word()) << 16;
    }

    /** lo <= result <= hi, from two bytes */
    int integer(int lo, int hi) noexcept { return lo + half_word() % (hi - lo + 1); }
};

} // namespace talv::fuzz

#endif

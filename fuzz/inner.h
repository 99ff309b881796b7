/** Inner routines, each with arguments from the fuzzer that keep its contract
 *
 *  All arrays are of just the size that the contract names, and on the heap, so that one element too many is found.
 *  What a routine gives goes into a digest: the two copies of the blocks must come to the same one.
 */
#ifndef TALV_FUZZ_INNER_H
#define TALV_FUZZ_INNER_H

#include "check.h"
#include "dsp/target.h"
#include "input.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace talv::inline TALV_TARGET
{

/** FNV-1a over all that the routines of an input give */
struct Digest {
    uint64_t value = 0xCBF29CE484222325u;

    template <typename T>
    [[clang::no_sanitize("integer")]] void add(const T *x, int n) noexcept /* the product is meant to wrap */
    {
        unsigned char bytes[sizeof(T)];
        for (int i = 0; i < n; i++) {
            std::memcpy(bytes, x + i, sizeof(T));
            for (const unsigned char b : bytes)
                value = (value ^ b) * 0x100000001B3u;
        }
    }

    template <typename T>
    void add(T x) noexcept
    {
        add(&x, 1);
    }
};

/** An array on the heap whose index 0 lies `before` elements behind its start; not written to */
template <typename T>
struct Room {
    int n, before;
    std::unique_ptr<T[]> elements;

    explicit Room(int count, int in_front = 0)
        : n(count + in_front), before(in_front), elements(new T[static_cast<size_t>(count + in_front)])
    {
    }
    operator T *() noexcept { return elements.get() + before; }
    T *all() noexcept { return elements.get(); }
};

/** A signal of one of several kinds, from three bytes, all of it finite
 *  top  I   largest magnitude                                                                                        */
Room<float> signal(fuzz::Input &in, int n, int before, float top);

/** The same within lo..hi, lo and hi among its values */
Room<float> values(fuzz::Input &in, int n, float lo, float hi);

/** LSFs: ascending within 0..pi where `ordered`, else anything within -1..4 */
Room<float> lsf_vector(fuzz::Input &in, int order, bool ordered);

using Case = void (*)(fuzz::Input &in, Digest &digest);

struct Cases {
    const Case *list;
    int count;
};
Cases dsp_cases();
Cases decoder_cases();
Cases encoder_cases();

/** The case that the first byte chooses, on the bytes after it */
uint64_t run_inner(const uint8_t *data, size_t size);

} // namespace talv::inline TALV_TARGET

#endif

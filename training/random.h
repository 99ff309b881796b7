/** Pseudo-random numbers for the trainer
 *
 *  The standard library fixes its engines but not its distributions, so both are here: a seed gives the same table
 *  whatever library the trainer is built with.
 *
 *  Source: Steele, Lea and Flood, "Fast Splittable Pseudorandom Number Generators", OOPSLA 2014.
 */
#ifndef TALV_TRAINING_RANDOM_H
#define TALV_TRAINING_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace talv
{

struct Random {
    uint64_t state;

    uint64_t next()
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15u);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    /** 0 <= result < 1 */
    double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }

    /** 0 <= result < n; n below 2^32 makes the unevenness of the remainder immaterial */
    size_t below(size_t n) { return static_cast<size_t>(next() % n); }
};

/** A generator of its own for each task of one run, so that no task depends on how much another one drew */
inline Random random_stream(uint64_t seed, uint64_t stream)
{
    Random mixer{seed};
    Random random{mixer.next() ^ (stream * 0xD1342543DE82EF95u)};
    random.next();
    return random;
}

/** A number that depends on a seed and a text alone: FNV-1a, then one step of the generator */
inline uint64_t seeded_hash(uint64_t seed, std::string_view text)
{
    uint64_t hash = 0xCBF29CE484222325u;
    for (char c : text)
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
    Random random{hash ^ Random{seed}.next()};
    return random.next();
}

} // namespace talv

#endif

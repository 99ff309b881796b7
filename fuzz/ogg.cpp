/* The reader of coded files. So that the fuzzer gets past the checksum of a page, it is made right, and its position is
 * brought within eight seconds; bits of the page's flags that Ogg does not use switch either off. Seeds are plain
 * coded files. */
#include "coded_in.h"
#include "failure.h"
#include "memory_file.h"

#include <cstring>
#include <vector>

using namespace talv;

namespace
{

constexpr size_t HEADER = 27; /* bytes of a page before its segment table */
constexpr uint8_t LEAVE_CHECKSUM = 0x80, LEAVE_POSITION = 0x40;
constexpr int64_t POSITIONS = 8 * TALV_SAMPLE_RATE;
constexpr int FRAMES_MAX = 4000; /* more than these positions can ask for */

/** Mend the page at p; its length, or 1 when there is no whole page */
size_t mend(uint8_t *p, size_t left)
{
    if (left < HEADER || std::memcmp(p, "OggS", 4) != 0 || left < HEADER + p[26])
        return 1;
    ogg_page page = {p, static_cast<long>(HEADER) + p[26], p + HEADER + p[26], 0};
    for (size_t i = 0; i < p[26]; i++)
        page.body_len += p[HEADER + i];
    const auto length = static_cast<size_t>(page.header_len + page.body_len);
    if (left < length)
        return 1;
    const int64_t position = ogg_page_granulepos(&page);
    if ((p[5] & LEAVE_POSITION) == 0 && position > POSITIONS) {
        const int64_t nearer = position % POSITIONS;
        for (int i = 0; i < 8; i++)
            p[6 + i] = static_cast<uint8_t>(nearer >> 8 * i);
    }
    if ((p[5] & LEAVE_CHECKSUM) == 0)
        ogg_page_checksum_set(&page);
    return length;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static fuzz::MemoryFile file;
    static std::vector<uint8_t> bytes;
    bytes.assign(data, data + size);
    for (size_t at = 0; at < size;)
        at += mend(bytes.data() + at, size - at);
    file.set(bytes.data(), size);
    try {
        CodedIn in(file.path(), size % 2 == 0);
        if (size % 8 == 0)
            FUZZ_CHECK(in.length() >= 0);
        CodedFrame frame;
        for (int n = 0; n < FRAMES_MAX && in.read(frame); n++) {
            FUZZ_CHECK(frame.from >= 0 && frame.count >= 0 && frame.from + frame.count <= TALV_FRAME_SAMPLES);
            FUZZ_CHECK(n > 0 || frame.start);
        }
        FUZZ_CHECK(in.damage().any() == !in.damage().text().empty());
    } catch (const Failure &failure) {
        FUZZ_CHECK(failure.what()[0] != '\0');
    }
    return 0;
}

#include "wav_stream.h"

#include <algorithm>
#include <cstring>
#include <sndfile.h>

namespace talv
{
namespace
{

constexpr uint32_t CHUNK_LIMIT = 1 << 20;        /* a longer chunk before the samples is not to be believed      */
constexpr uint32_t LENGTH_UNKNOWN = 0x7ffff000u; /* from here on, and at 0, the length was not known when written */
constexpr unsigned WAV_PCM = 1, WAV_FLOAT = 3, WAV_ALAW = 6, WAV_ULAW = 7, WAV_EXTENSIBLE = 0xfffe;

uint32_t le16(const char *p)
{
    return static_cast<uint32_t>(static_cast<uint8_t>(p[0]) | static_cast<uint8_t>(p[1]) << 8);
}

uint32_t le32(const char *p)
{
    return le16(p) | le16(p + 2) << 16;
}

/* Append n bytes of the pipe to head; false at its end. */
bool take(InputFile &in, std::string &head, size_t n)
{
    const size_t had = head.size();
    head.resize(had + n);
    const size_t got = in.read(head.data() + had, n);
    head.resize(had + got);
    return got == n;
}

int coding_of(unsigned tag, unsigned nbits)
{
    switch (tag << 8 | nbits) {
    case WAV_PCM << 8 | 8:
        return SF_FORMAT_PCM_U8;
    case WAV_PCM << 8 | 16:
        return SF_FORMAT_PCM_16;
    case WAV_PCM << 8 | 24:
        return SF_FORMAT_PCM_24;
    case WAV_PCM << 8 | 32:
        return SF_FORMAT_PCM_32;
    case WAV_FLOAT << 8 | 32:
        return SF_FORMAT_FLOAT;
    case WAV_FLOAT << 8 | 64:
        return SF_FORMAT_DOUBLE;
    case WAV_ALAW << 8 | 8:
        return SF_FORMAT_ALAW;
    case WAV_ULAW << 8 | 8:
        return SF_FORMAT_ULAW;
    default:
        return 0;
    }
}

bool parse_format(const char *chunk, size_t n, WavFormat &format)
{
    if (n < 16)
        return false;
    unsigned tag = le16(chunk);
    const unsigned nbits = le16(chunk + 14);
    if (tag == WAV_EXTENSIBLE && n >= 26)
        tag = le16(chunk + 24); /* the first two bytes of the subformat's identifier */
    format.channels = static_cast<int>(le16(chunk + 2));
    format.rate_hz = static_cast<int>(le32(chunk + 4));
    format.frame_bytes = static_cast<int>(le16(chunk + 12));
    format.coding = coding_of(tag, nbits);
    return format.coding != 0 && format.channels > 0 && format.rate_hz > 0 &&
           format.frame_bytes == format.channels * static_cast<int>(nbits / 8);
}

} // namespace

bool read_wav_header(InputFile &in, WavFormat &format, std::string &head)
{
    if (!take(in, head, 12) || head.compare(0, 4, "RIFF") != 0 || head.compare(8, 4, "WAVE") != 0)
        return false;
    bool have_format = false;
    for (;;) {
        const size_t at = head.size();
        if (!take(in, head, 8))
            return false;
        const std::string id = head.substr(at, 4);
        const uint32_t size = le32(head.data() + at + 4);
        if (id == "data") {
            format.nbytes = size == 0 || size >= LENGTH_UNKNOWN ? -1 : static_cast<int64_t>(size);
            return have_format;
        }
        if (size > CHUNK_LIMIT || !take(in, head, size + (size & 1)))
            return false;
        if (id == "fmt ")
            have_format = parse_format(head.data() + at + 8, size, format);
    }
}

std::array<uint8_t, 44> wav_header(int rate_hz, int64_t nbytes)
{
    const bool known = nbytes >= 0 && nbytes <= 0xffffffff - 36;
    const auto rate = static_cast<uint32_t>(rate_hz);
    std::array<uint8_t, 44> header{};
    uint8_t *p = header.data();
    const auto text = [&p](const char *s) {
        std::memcpy(p, s, 4);
        p += 4;
    };
    const auto number = [&p](uint32_t value, int n) {
        for (; n > 0; n--, value >>= 8)
            *p++ = static_cast<uint8_t>(value);
    };
    text("RIFF");
    number(known ? static_cast<uint32_t>(nbytes) + 36 : 0xffffffffu, 4);
    text("WAVE");
    text("fmt ");
    number(16, 4);
    number(WAV_PCM, 2);
    number(1, 2);
    number(rate, 4);
    number(2 * rate, 4);
    number(2, 2);
    number(16, 2);
    text("data");
    number(known ? static_cast<uint32_t>(nbytes) : 0xffffffffu, 4);
    return header;
}

} // namespace talv

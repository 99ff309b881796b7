#include "ogg_format.h"

#include <cstring>
#include <talvcodec.h>

namespace talv
{
namespace
{

constexpr char HEAD_MAGIC[] = "TalvHead", TAGS_MAGIC[] = "TalvTags";
constexpr size_t MAGIC_BYTES = 8, HEAD_BYTES = 20;
constexpr uint8_t VERSION = 1;

void append(std::string &to, uint32_t value, int nbytes)
{
    for (; nbytes > 0; nbytes--, value >>= 8)
        to.push_back(static_cast<char>(value));
}

uint32_t le16(const uint8_t *p)
{
    return static_cast<uint32_t>(p[0] | p[1] << 8);
}

uint32_t le32(const uint8_t *p)
{
    return le16(p) | le16(p + 2) << 16;
}

/* A length and that many bytes; false when they are not all there. */
bool take(const uint8_t *&p, size_t &n, std::string &text)
{
    if (n < 4 || le32(p) > n - 4)
        return false;
    const size_t length = le32(p);
    text.assign(reinterpret_cast<const char *>(p) + 4, length);
    p += 4 + length;
    n -= 4 + length;
    return true;
}

} // namespace

std::string head_packet(const OggHead &head)
{
    std::string packet = HEAD_MAGIC;
    append(packet, VERSION, 1);
    append(packet, TALV_FRAME_BYTES, 1);
    append(packet, TALV_FRAME_SAMPLES, 2);
    append(packet, static_cast<uint32_t>(head.pre_skip), 2);
    append(packet, head.original_hz, 4);
    append(packet, 0, 2); /* reserved */
    return packet;
}

std::string tags_packet(const OggTags &tags)
{
    std::string packet = TAGS_MAGIC;
    append(packet, static_cast<uint32_t>(tags.vendor.size()), 4);
    packet += tags.vendor;
    append(packet, static_cast<uint32_t>(tags.comments.size()), 4);
    for (const std::string &comment : tags.comments) {
        append(packet, static_cast<uint32_t>(comment.size()), 4);
        packet += comment;
    }
    return packet;
}

bool is_head_packet(const uint8_t *p, size_t n)
{
    return n >= MAGIC_BYTES && std::memcmp(p, HEAD_MAGIC, MAGIC_BYTES) == 0;
}

bool is_tags_packet(const uint8_t *p, size_t n)
{
    return n >= MAGIC_BYTES && std::memcmp(p, TAGS_MAGIC, MAGIC_BYTES) == 0;
}

std::string parse_head(const uint8_t *p, size_t n, OggHead &head)
{
    if (n < HEAD_BYTES || !is_head_packet(p, n))
        return "has a head packet that is cut short";
    if (p[8] >> 4 != 0)
        return "is of version " + std::to_string(p[8]) + ", which this program does not know";
    if (p[9] != TALV_FRAME_BYTES || le16(p + 10) != TALV_FRAME_SAMPLES)
        return "has frames of " + std::to_string(p[9]) + " bytes and " + std::to_string(le16(p + 10)) + " samples";
    head.pre_skip = static_cast<int>(le16(p + 12));
    head.original_hz = le32(p + 14);
    return "";
}

bool parse_tags(const uint8_t *p, size_t n, OggTags &tags)
{
    tags = {};
    if (!is_tags_packet(p, n))
        return false;
    p += MAGIC_BYTES;
    n -= MAGIC_BYTES;
    if (!take(p, n, tags.vendor) || n < 4)
        return false;
    const uint32_t count = le32(p);
    p += 4;
    n -= 4;
    for (uint32_t i = 0; i < count; i++) {
        std::string comment;
        if (!take(p, n, comment))
            return false;
        tags.comments.push_back(comment);
    }
    return true;
}

} // namespace talv

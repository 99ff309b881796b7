/** The packets of a talv stream in Ogg, as docs/ogg-mapping.md tells them: head and comments */
#ifndef TALV_TOOLS_OGG_FORMAT_H
#define TALV_TOOLS_OGG_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <ogg/ogg.h>
#include <string>
#include <vector>

namespace talv
{

inline constexpr int PACKET_FRAMES = 31;     /* a packet of 248 bytes: the most whole frames in one lacing value  */
inline constexpr int FILE_PAGE_FRAMES = 496; /* 16 packets, 14.9 s: 43 bytes of page header on 3968 of frames     */

/** libogg's records, released when they go out of scope */
struct OggStream : ogg_stream_state {
    OggStream() : ogg_stream_state{} {}
    ~OggStream() { ogg_stream_clear(this); }
    OggStream(const OggStream &) = delete;
    OggStream &operator=(const OggStream &) = delete;
};
struct OggSync : ogg_sync_state {
    OggSync() : ogg_sync_state{} { ogg_sync_init(this); }
    ~OggSync() { ogg_sync_clear(this); }
    OggSync(const OggSync &) = delete;
    OggSync &operator=(const OggSync &) = delete;
};

struct OggHead {
    int pre_skip = 0;         /* samples at the start of the decoded stream that are not part of the recording  */
    uint32_t original_hz = 0; /* sample rate before coding; 0: not known                                       */
};

struct OggTags {
    std::string vendor;
    std::vector<std::string> comments; /* NAME=value, UTF-8 */
};

std::string head_packet(const OggHead &head);
std::string tags_packet(const OggTags &tags);

bool is_head_packet(const uint8_t *p, size_t n);
bool is_tags_packet(const uint8_t *p, size_t n);

/** Read a head packet
 *  return   empty, or the reason why this stream cannot be decoded
 */
std::string parse_head(const uint8_t *p, size_t n, OggHead &head);

/** Read a comment packet; false when it is not well formed (tags then hold what could be read) */
bool parse_tags(const uint8_t *p, size_t n, OggTags &tags);

} // namespace talv

#endif

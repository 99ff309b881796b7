#include "coded_out.h"

#include "ending.h"
#include "failure.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <talvcodec.h>

namespace talv
{

CodedOut::CodedOut(const std::string &path, const CodedFormat &format, const OggHead &head, const OggTags &tags)
    : file_(path), bare_(format.bare || has_ending(path, ".frames")),
      page_frames_(format.page_frames > 0 ? format.page_frames
                   : file_.is_file()      ? FILE_PAGE_FRAMES
                                          : 1),
      head_(head)
{
    if (bare_)
        return;
    std::random_device random; /* so that streams can be put one behind the other */
    ogg_stream_init(&stream_, static_cast<int>(random()));
    std::string packet = head_packet(head);
    put_packet(packet, 0, false);
    put_pages();
    packet = tags_packet(tags);
    put_packet(packet, 0, false);
    put_pages();
}

void CodedOut::put_packet(std::string &bytes, int64_t granule, bool last)
{
    ogg_packet packet = {};
    packet.packet = reinterpret_cast<unsigned char *>(bytes.data());
    packet.bytes = static_cast<long>(bytes.size());
    packet.b_o_s = packets_ == 0;
    packet.e_o_s = last;
    packet.granulepos = granule;
    packet.packetno = packets_++;
    if (ogg_stream_packetin(&stream_, &packet) != 0)
        throw Failure(name(), "no memory");
}

void CodedOut::put_pages()
{
    ogg_page page;
    while (ogg_stream_flush(&stream_, &page) != 0) {
        std::string bytes(reinterpret_cast<char *>(page.header), static_cast<size_t>(page.header_len));
        bytes.append(reinterpret_cast<char *>(page.body), static_cast<size_t>(page.body_len));
        bytes_ += static_cast<int64_t>(bytes.size());
        if (file_.is_file())
            page_ends_.push_back(bytes_);
        file_.write(bytes.data(), bytes.size()); /* at once: on a pipe a page goes out as a whole */
    }
}

/* The granule position counts all samples up to the end of the packet, those of the pre-skip too. */
void CodedOut::flush_packet(bool last)
{
    int64_t granule = frames_ * TALV_FRAME_SAMPLES;
    if (last && length_ >= 0)
        granule = std::min(granule, head_.pre_skip + length_);
    put_packet(packet_, granule, last);
    packet_.clear();
    ended_ = last;
}

void CodedOut::write(const uint8_t *frame)
{
    if (ended_)
        return;
    frames_++;
    if (bare_) {
        if (frames_ <= head_.pre_skip / TALV_FRAME_SAMPLES)
            return;
        file_.write(frame, TALV_FRAME_BYTES);
        bytes_ += TALV_FRAME_BYTES;
        return;
    }
    packet_.append(reinterpret_cast<const char *>(frame), TALV_FRAME_BYTES);
    pages_frames_++;
    const bool last = length_ >= 0 && frames_ * TALV_FRAME_SAMPLES >= head_.pre_skip + length_;
    const bool page = last || pages_frames_ >= page_frames_;
    if (page || packet_.size() >= static_cast<size_t>(PACKET_FRAMES) * TALV_FRAME_BYTES)
        flush_packet(last);
    if (page) {
        put_pages();
        pages_frames_ = 0;
    }
}

void CodedOut::commit()
{
    if (!bare_ && !ended_) {
        flush_packet(true); /* of an empty recording: a packet of no frames ends it */
        put_pages();
    }
    file_.commit();
}

/* Whole pages stay, and the last of them becomes the stream's last by its flag. */
bool CodedOut::salvage()
{
    if (!file_.is_file())
        return false;
    const int64_t landed = file_.landed();
    if (bare_) {
        if (landed < TALV_FRAME_BYTES)
            return false;
        file_.cut(landed / TALV_FRAME_BYTES * TALV_FRAME_BYTES);
        file_.commit();
        return true;
    }
    while (!page_ends_.empty() && page_ends_.back() > landed)
        page_ends_.pop_back();
    if (page_ends_.size() < 3) /* head, comments, and some speech */
        return false;
    const int64_t start = page_ends_[page_ends_.size() - 2];
    std::string bytes = file_.read_back(start, page_ends_.back() - start);
    auto *data = reinterpret_cast<unsigned char *>(bytes.data());
    constexpr unsigned char LAST_PAGE = 4;
    constexpr size_t FLAGS = 5, SEGMENTS = 26;
    data[FLAGS] = static_cast<unsigned char>(data[FLAGS] | LAST_PAGE);
    ogg_page page = {};
    page.header = data;
    page.header_len = static_cast<long>(SEGMENTS + 1 + data[SEGMENTS]);
    page.body = data + page.header_len;
    page.body_len = static_cast<long>(bytes.size()) - page.header_len;
    ogg_page_checksum_set(&page);
    file_.cut(start);
    file_.write(bytes.data(), bytes.size());
    file_.commit();
    return true;
}

} // namespace talv

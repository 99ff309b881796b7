#include "coded_in.h"

#include "codec.h"
#include "ending.h"
#include "failure.h"
#include "standard_streams.h"

#include <algorithm>
#include <cstring>

namespace talv
{
namespace
{

constexpr int64_t GAP_MAX = 3600ll * TALV_SAMPLE_RATE; /* a longer jump in time is not filled up           */
constexpr size_t BLOCK = 8192;

Failure cut_short(const std::string &name, int64_t nbytes)
{
    const auto rest = nbytes % TALV_FRAME_BYTES;
    return Failure(name,
                   "is not made of whole frames of 8 bytes: " + std::to_string(rest) + " left over after " +
                       std::to_string(nbytes / TALV_FRAME_BYTES) + " frames",
                   Status::odd_length);
}

/* Every 8 bytes decode, and a recording taken for frames would come out as a loud noise. */
bool is_recording(const std::string &start)
{
    for (const char *magic : {"RIFF", "RF64", "fLaC", "FORM", "caff", "ID3"})
        if (start.starts_with(magic))
            return true;
    return false;
}

} // namespace

std::string Damage::text() const
{
    std::string s;
    if (places > 0)
        s = std::to_string(places) + (places == 1 ? " damaged place: " : " damaged places: ") + std::to_string(bytes) +
            " bytes passed over, " + std::to_string(frames) + " frames lost";
    for (const std::string &note : notes)
        s += (s.empty() ? "" : "; ") + note;
    return s;
}

CodedIn::CodedIn(const std::string &path, bool keep) : in_(path), path_(path), keep_(keep)
{
    open();
}

CodedIn::CodedIn(const std::string &name, const uint8_t *bytes, size_t n, bool keep) : in_(name, bytes, n), keep_(keep)
{
    open();
}

void CodedIn::open()
{
    const int64_t nbytes = in_.bytes_left();
    peeked_.resize(4);
    peeked_.resize(in_.read(peeked_.data(), peeked_.size()));
    if (is_recording(peeked_))
        throw Failure(name(), "is a recording, not coded speech", Status::alien);
    ogg_ = peeked_ == "OggS" || has_ending(name(), ".talv");
    if (!ogg_) {
        if (nbytes % TALV_FRAME_BYTES > 0 && !keep_)
            throw cut_short(name(), nbytes);
        return;
    }
    if (peeked_.empty())
        throw Failure(name(), "is empty", Status::alien);
    char *buffer = ogg_sync_buffer(&sync_, static_cast<long>(peeked_.size()));
    std::memcpy(buffer, peeked_.data(), peeked_.size());
    ogg_sync_wrote(&sync_, static_cast<long>(peeked_.size()));
    bytes_ = static_cast<int64_t>(peeked_.size());
    /* The head is wanted before the first frame is. */
    ogg_page page;
    while (!data_ && ready_.empty() && next_page(page))
        take_page(page);
    if (!ever_)
        throw Failure(name(), "holds no talv stream", Status::alien);
}

int64_t CodedIn::length()
{
    const int64_t left = in_.bytes_left();
    if (left < 0)
        return -1;
    if (!ogg_)
        return (left + static_cast<int64_t>(peeked_.size())) / TALV_FRAME_BYTES * TALV_FRAME_SAMPLES;
    if (path_.empty() || is_stdin(path_))
        return -1; /* there is no second way to it */
    CodedIn other(path_, true);
    int64_t samples = 0;
    CodedFrame frame;
    try {
        while (other.read(frame))
            samples += frame.count;
    } catch (const Failure &) { /* told when it is reached */
    }
    return samples;
}

bool CodedIn::fill()
{
    if (at_end_)
        return false;
    char *buffer = ogg_sync_buffer(&sync_, BLOCK);
    if (!buffer)
        throw Failure(name(), "no memory");
    const size_t n = in_.read_some(buffer, BLOCK);
    ogg_sync_wrote(&sync_, static_cast<long>(n));
    bytes_ += static_cast<int64_t>(n);
    at_end_ = n == 0;
    return !at_end_;
}

void CodedIn::note_skip(int64_t nbytes)
{
    damage_.bytes += nbytes;
    damage_.places += skipping_ ? 0 : 1;
    skipping_ = true;
}

/* The next page whose checksum is right. Where bytes are left at the end of the file that look like the start of a
 * page, sound pages may still follow within them: its length may be what is damaged. */
bool CodedIn::next_page(ogg_page &page)
{
    for (;;) {
        const long n = ogg_sync_pageseek(&sync_, &page);
        if (n > 0) {
            skipping_ = false;
            return true;
        }
        if (n < 0) {
            note_skip(-n);
            continue;
        }
        if (fill())
            continue;
        if (sync_.fill <= sync_.returned)
            return false;
        sync_.returned++;
        sync_.headerbytes = sync_.bodybytes = 0;
        note_skip(1);
    }
}

void CodedIn::begin_link(int serial)
{
    if (open_)
        damage_.notes.emplace_back("a stream ends without its last page");
    ogg_stream_clear(&stream_);
    ogg_stream_init(&stream_, serial);
    open_ = ever_ = fresh_ = true;
    data_ = false;
    position_ = 0;
    trimmed_at_ = -1;
    streams_++;
    batch_.clear();
    head_ = {};
}

/* false when the page is no part of a talv stream */
bool CodedIn::take_page(ogg_page &page)
{
    const auto *body = reinterpret_cast<const uint8_t *>(page.body);
    const auto length = static_cast<size_t>(page.body_len);
    const int serial = ogg_page_serialno(&page);
    if (ogg_page_bos(&page) != 0) {
        if (!is_head_packet(body, length))
            return false;
        OggHead head;
        const std::string problem = parse_head(body, length, head);
        if (!problem.empty())
            throw Failure(name(), problem, Status::alien);
        begin_link(serial);
        head_ = head;
    } else if (!open_ && is_tags_packet(body, length)) {
        begin_link(serial);
        head_.pre_skip = TALV_DELAY_SAMPLES;
        damage_.notes.emplace_back("the head is lost, and the usual one is assumed");
    }
    if (!open_ || serial != stream_.serialno)
        return false;
    if (ogg_stream_pagein(&stream_, &page) != 0)
        return false;

    ogg_packet packet;
    for (int got; (got = ogg_stream_packetout(&stream_, &packet)) != 0;) {
        if (got < 0)
            continue; /* a hole in the numbering of the pages; time tells what is missing */
        const auto *bytes = reinterpret_cast<const uint8_t *>(packet.packet);
        const auto n = static_cast<size_t>(packet.bytes);
        if (packet.b_o_s != 0 && is_head_packet(bytes, n))
            continue;
        if (!data_ && is_tags_packet(bytes, n)) {
            if (!parse_tags(bytes, n, tags_))
                damage_.notes.emplace_back("the comments are not well formed");
            data_ = true;
            continue;
        }
        data_ = true;
        if (n % TALV_FRAME_BYTES != 0)
            damage_.notes.emplace_back("a packet is not made of whole frames");
        batch_.append(packet.packet, packet.packet + n / TALV_FRAME_BYTES * TALV_FRAME_BYTES);
    }
    const bool last = ogg_page_eos(&page) != 0;
    if (data_ && (ogg_page_granulepos(&page) >= 0 || last))
        place_frames(ogg_page_granulepos(&page), last);
    if (last)
        open_ = false;
    return true;
}

/* The frames since the last position, now that the position behind them is known. All positions but the last one of a
 * stream are whole frames from its start, so that a page tells where it begins even when the one before is lost. */
void CodedIn::place_frames(int64_t granule, bool last)
{
    constexpr int64_t N = TALV_FRAME_SAMPLES;
    const auto count = static_cast<int64_t>(batch_.size()) / TALV_FRAME_BYTES;
    if (granule > INT64_MAX / 2 || granule < 0)
        granule = position_ + N * count;
    const int64_t start = (granule + N - 1) / N * N - N * count;
    if (start > position_ + GAP_MAX) {
        damage_.places++;
        damage_.notes.emplace_back("time jumps by more than an hour, which is left out");
        fresh_ = true;
    } else if (start > position_) {
        const int64_t lost = (start - position_) / N;
        damage_.frames += lost;
        damage_.places += damage_.places == 0 ? 1 : 0;
        for (int64_t i = 0; i < lost; i++) {
            queue(nullptr, true);
            position_ += N;
        }
    } else if (start < position_ && !last) {
        damage_.places++;
        damage_.notes.emplace_back("time runs backward");
    }
    if (start > position_)
        position_ = start;
    trimmed_at_ = last && granule >= head_.pre_skip ? granule : -1;
    for (int64_t i = 0; i < count; i++) {
        queue(reinterpret_cast<const uint8_t *>(batch_.data()) + i * TALV_FRAME_BYTES, false);
        position_ += N;
    }
    batch_.clear();
}

void CodedIn::queue(const uint8_t *bytes, bool lost)
{
    CodedFrame frame;
    if (bytes)
        std::memcpy(frame.bytes, bytes, sizeof frame.bytes);
    frame.lost = lost;
    frame.start = fresh_;
    fresh_ = false;
    const int64_t end =
        trimmed_at_ >= 0 ? std::min(trimmed_at_, position_ + TALV_FRAME_SAMPLES) : position_ + TALV_FRAME_SAMPLES;
    frame.from = static_cast<int>(std::clamp<int64_t>(head_.pre_skip - position_, 0, TALV_FRAME_SAMPLES));
    frame.count = static_cast<int>(std::max<int64_t>(0, end - position_ - frame.from));
    ready_.push_back(frame);
}

bool CodedIn::read(CodedFrame &frame)
{
    if (ogg_) {
        ogg_page page;
        while (ready_.empty() && next_page(page))
            take_page(page);
        if (ready_.empty() && open_) {
            if (!batch_.empty()) {
                place_frames(-1, false);
            } else {
                open_ = false;
                throw Failure(
                    name(), "is cut off: its last page is missing" + (damage_.any() ? " (" + damage_.text() + ")" : ""),
                    Status::truncated);
            }
        }
        if (ready_.empty())
            return false;
        frame = ready_.front();
        ready_.pop_front();
        return true;
    }
    frame = {};
    size_t n = std::min<size_t>(peeked_.size(), TALV_FRAME_BYTES);
    std::memcpy(frame.bytes, peeked_.data(), n);
    peeked_.clear();
    n += in_.read(frame.bytes + n, TALV_FRAME_BYTES - n);
    if (n == 0)
        return false;
    bytes_ += static_cast<int64_t>(n);
    if (n < TALV_FRAME_BYTES)
        throw cut_short(name(), bytes_);
    frame.start = bytes_ == TALV_FRAME_BYTES;
    frame.count = TALV_FRAME_SAMPLES;
    return true;
}

DecodedSpeech load_decoded(const std::string &path)
{
    CodedIn in(path, true);
    Decoder decoder;
    DecodedSpeech speech;
    CodedFrame frame;
    int16_t pcm[TALV_FRAME_SAMPLES];
    try {
        while (in.read(frame)) {
            decoder.decode(frame, pcm);
            speech.frames.push_back(frame);
            speech.at.push_back(static_cast<int64_t>(speech.x.size()) - frame.from);
            speech.x.insert(speech.x.end(), pcm + frame.from, pcm + frame.from + frame.count);
        }
    } catch (const Failure &failure) {
        if (failure.status != Status::truncated && failure.status != Status::odd_length)
            throw;
    }
    return speech;
}

bool is_coded(const std::string &path)
{
    if (has_ending(path, ".frames") || has_ending(path, ".talv"))
        return true;
    if (is_stdin(path))
        return false;
    char start[4096];
    InputFile in(path);
    if (in.bytes_left() < 0)
        return false;
    const std::string head(start, in.read(start, sizeof start));
    return head.starts_with("OggS") && head.find("TalvHead") < 64;
}

} // namespace talv

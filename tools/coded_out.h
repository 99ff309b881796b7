/** Coded speech as a file: a talv stream in Ogg, or bare frames */
#ifndef TALV_TOOLS_CODED_OUT_H
#define TALV_TOOLS_CODED_OUT_H

#include "atomic_file.h"
#include "ogg_format.h"

#include <cstdint>
#include <ogg/ogg.h>
#include <string>
#include <vector>

namespace talv
{

struct CodedFormat {
    bool bare = false;   /* frames alone, whatever the ending                                        */
    int page_frames = 0; /* frames a page; 0: 1 on a pipe, FILE_PAGE_FRAMES in a file                 */
};

class CodedOut
{
public:
    /** Open
     *  path     .frames are bare frames, all else is Ogg
     *  throws   Failure
     */
    CodedOut(const std::string &path, const CodedFormat &format, const OggHead &head, const OggTags &tags);
    CodedOut(const CodedOut &) = delete;
    CodedOut &operator=(const CodedOut &) = delete;

    const std::string &name() const { return file_.name(); }
    bool bare() const { return bare_; }
    int64_t bytes() const { return bytes_; }
    int64_t frames() const { return frames_; }

    /** The recording's length in samples at 8 kHz, as soon as it is known: at the latest before the frame in which it
     *  ends is written. The stream is closed with that frame.
     */
    void set_length(int64_t samples) { length_ = samples; }

    /** Append a frame. Of bare frames those of the pre-skip are left out. */
    void write(const uint8_t *frame);

    /** The output is complete */
    void commit();

    /** After a failed write: make a valid shorter file of what has reached it; false when that cannot be done */
    bool salvage();

private:
    void put_packet(std::string &bytes, int64_t granule, bool last);
    void put_pages();
    void flush_packet(bool last);

    AtomicFile file_;
    bool bare_;
    int page_frames_;
    OggHead head_;
    OggStream stream_;
    std::string packet_;       /* frames of the packet under way                    */
    int64_t packets_ = 0;      /* handed to libogg                                  */
    int64_t pages_frames_ = 0; /* frames of the page under way                      */
    int64_t frames_ = 0, bytes_ = 0;
    int64_t length_ = -1;
    std::vector<int64_t> page_ends_; /* file offsets                                   */
    bool ended_ = false;
};

} // namespace talv

#endif

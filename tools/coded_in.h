/** Coded speech: a talv stream in Ogg, or bare frames, told apart by what is in them */
#ifndef TALV_TOOLS_CODED_IN_H
#define TALV_TOOLS_CODED_IN_H

#include "input_file.h"
#include "ogg_format.h"

#include <cstdint>
#include <deque>
#include <ogg/ogg.h>
#include <string>
#include <talvcodec.h>
#include <vector>

namespace talv
{

struct CodedFrame {
    uint8_t bytes[TALV_FRAME_BYTES] = {};
    bool lost = false;  /* it was on a damaged page: bytes mean nothing                       */
    bool start = false; /* the first of a stream: the decoder is to be put back to its start  */
    int from = 0;       /* of its 240 samples those that are part of the recording: the first */
    int count = 0;      /* and how many                                                       */
};

/** What was wrong with a stream and could be passed over */
struct Damage {
    int64_t places = 0; /* runs of bytes that are no sound page, and jumps in time        */
    int64_t bytes = 0;  /* bytes passed over                                              */
    int64_t frames = 0; /* frames lost                                                    */
    std::vector<std::string> notes;
    bool any() const { return places > 0 || !notes.empty(); }
    std::string text() const; /* one line */
};

class CodedIn
{
public:
    /** Open a coded file, or "-" for standard input
     *  keep     take a file that is cut short as far as it goes, and tell so at the end only
     *  throws   Failure; also when bare frames do not fill the file, or it is a recording
     */
    explicit CodedIn(const std::string &path, bool keep = false);

    /** The same of bytes in memory, under a name for messages that tells bare frames by its ending as a path does
     *  bytes    [n], to be kept as long as this is read
     */
    CodedIn(const std::string &name, const uint8_t *bytes, size_t n, bool keep = false);
    CodedIn(const CodedIn &) = delete;
    CodedIn &operator=(const CodedIn &) = delete;

    const std::string &name() const { return in_.name(); }
    bool is_ogg() const { return ogg_; }
    const OggHead &head() const { return head_; }
    const OggTags &tags() const { return tags_; }
    const Damage &damage() const { return damage_; }
    int64_t bytes() const { return bytes_; }

    /** Samples of the recording, by reading the file once more; -1 when that cannot be known beforehand: from standard
     *  input, a pipe or memory
     */
    int64_t length();

    /** Read one frame
     *  return       false at the end
     *  throws       Failure when the input ends within a frame, or before its last page; Interrupted
     */
    bool read(CodedFrame &frame);

private:
    void open();
    bool fill();
    bool next_page(ogg_page &page);
    bool take_page(ogg_page &page);
    void begin_link(int serial);
    void place_frames(int64_t granule, bool last);
    void queue(const uint8_t *bytes, bool lost);
    void note_skip(int64_t nbytes);

    InputFile in_;
    std::string path_; /* empty: in memory                                                        */
    bool keep_;
    bool ogg_ = false;
    std::string peeked_; /* bare frames: what was read to tell them                             */
    int64_t bytes_ = 0;

    OggHead head_;
    OggTags tags_;
    Damage damage_;
    OggSync sync_;
    OggStream stream_;
    bool open_ = false;     /* a stream is under way                                          */
    bool ever_ = false;     /* there was one                                                  */
    bool at_end_ = false;   /* no more bytes                                                  */
    bool skipping_ = false; /* within a run of damaged bytes                                  */
    bool fresh_ = true;     /* the next frame is the first of its stream                      */
    bool data_ = false;     /* past the comments                                              */
    int64_t position_ = 0;  /* granule position of the next frame's first sample              */
    int64_t streams_ = 0;
    std::string batch_; /* frames since the last page that told its position              */
    std::deque<CodedFrame> ready_;
    int64_t trimmed_at_ = -1;
};

/** The whole of a coded file: decoded, and what its frames say, for drawing */
struct DecodedSpeech {
    std::vector<int16_t> x;
    std::vector<CodedFrame> frames;
    std::vector<int64_t> at; /* where each frame's first sample lies in x; negative in the pre-skip */
};
DecodedSpeech load_decoded(const std::string &path);

/** Is this file coded speech? By its first bytes if it is Ogg, by its ending else */
bool is_coded(const std::string &path);

} // namespace talv

#endif

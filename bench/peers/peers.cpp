/** Cost of this codec beside that of other speech codecs, in one run, on the same speech
 *
 *    talv_peers LIBRARY [PLAIN_LIBRARY] [PASSES]
 *
 *  LIBRARY        libtalvcodec.so as built
 *  PLAIN_LIBRARY  the same built with TALV_DISPATCH=OFF: what a processor without AVX2 runs
 *  PASSES         how often each piece of speech is timed, 32 unless told
 *
 *  The bundled recordings lie in memory. They are cut into pieces of 1.44 s, which are whole frames of every codec; a
 *  pass takes each piece through each codec in turn, with streams that start anew at the first piece, so that a piece is
 *  the same work in every pass. The figures are undisturbed costs (timing.h). The ratios are the result: a time belongs
 *  to the machine, a ratio nearly does not. Three ratios from disjoint thirds of the passes show how far to trust it.
 *
 *  Written to standard output as a Markdown table; a codec whose library was not found at build time says so.
 */
#include "coder.h"
#include "speech.h"
#include "timing.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace
{

using namespace talv;
using namespace talv::bench;

constexpr size_t PIECE = 11520; /* samples: a multiple of 160, 180, 240 and 320 */
constexpr size_t SEGMENTS = 3;  /* of the passes, for the spread of a ratio     */

/** One frame on the wire */
struct Packet {
    uint8_t bytes[MAX_FRAME_BYTES];
    size_t nbytes;
};

/** A codec, its frames of the whole speech, and its times */
struct Entry {
    Coder coder;
    std::vector<Packet> packets;
    PieceTimes encode_us, decode_us; /* [pieces][passes] */
};

void encode_all(Entry *entry, std::vector<int16_t> *speech)
{
    const EncodeFrame encode = entry->coder.new_encoder();
    for (size_t at = 0; at < speech->size(); at += entry->coder.frame_len) {
        Packet packet = {};
        packet.nbytes = encode(speech->data() + at, packet.bytes);
        if (packet.nbytes == 0 || packet.nbytes > MAX_FRAME_BYTES)
            throw std::runtime_error(entry->coder.name + ": a frame of " + std::to_string(packet.nbytes) + " bytes");
        entry->packets.push_back(packet);
    }
}

/** What comes out must be sound: a codec that fell silent would be a fast one */
void check_decoding(Entry *entry, const std::vector<int16_t> &speech)
{
    const DecodeFrame decode = entry->coder.new_decoder();
    std::vector<int16_t> out(entry->coder.frame_len);
    double in_energy = 0.0, out_energy = 0.0;
    for (Packet &packet : entry->packets) {
        decode(packet.bytes, packet.nbytes, out.data());
        for (const int16_t v : out)
            out_energy += static_cast<double>(v) * v;
    }
    for (const int16_t v : speech)
        in_energy += static_cast<double>(v) * v;
    if (out_energy < 0.1 * in_energy || out_energy > 10.0 * in_energy)
        throw std::runtime_error(entry->coder.name + ": what it decodes is not at the level of the speech");
}

void time_pass(std::vector<Entry> *entries, std::vector<int16_t> *speech)
{
    const size_t pieces = speech->size() / PIECE;
    std::vector<EncodeFrame> encoders;
    std::vector<DecodeFrame> decoders;
    for (const Entry &entry : *entries) {
        encoders.push_back(entry.coder.new_encoder());
        decoders.push_back(entry.coder.new_decoder());
    }
    uint8_t frame[MAX_FRAME_BYTES];
    int16_t pcm[TALV_SAMPLE_RATE];
    for (size_t piece = 0; piece < pieces; piece++) {
        for (size_t c = 0; c < entries->size(); c++) {
            Entry &entry = (*entries)[c];
            const size_t len = entry.coder.frame_len;
            const EncodeFrame &encode = encoders[c];
            const DecodeFrame &decode = decoders[c];
            int16_t *const x = speech->data() + piece * PIECE;
            Packet *const packets = entry.packets.data() + piece * (PIECE / len);
            entry.encode_us[piece].push_back(timed_us([&] {
                for (size_t at = 0; at < PIECE; at += len)
                    encode(x + at, frame);
            }));
            entry.decode_us[piece].push_back(timed_us([&] {
                for (size_t n = 0; n < PIECE / len; n++)
                    decode(packets[n].bytes, packets[n].nbytes, pcm);
            }));
        }
    }
}

/** One direction's columns: cost of a second of speech, slowdown of the median, ratio to the first codec */
void print_direction(const PieceTimes &times, const PieceTimes &ours, double seconds)
{
    double low = 1e30, high = 0.0;
    const size_t passes = times.front().size();
    for (size_t s = 0; s < SEGMENTS; s++) {
        const size_t first = s * passes / SEGMENTS, last = (s + 1) * passes / SEGMENTS;
        const double ratio = least_us(times, first, last) / least_us(ours, first, last);
        low = std::min(low, ratio);
        high = std::max(high, ratio);
    }
    std::printf(" %9.1f | %+6.1f %% | %6.3f | %6.3f to %6.3f |", least_us(times) / seconds,
                100.0 * (median_us(times) / least_us(times) - 1.0), least_us(times) / least_us(ours), low, high);
}

int run(int argc, char **argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: talv_peers LIBRARY [PLAIN_LIBRARY] [PASSES]\n");
        return 2;
    }
    const auto is_number = [](const char *arg) { return arg[0] >= '0' && arg[0] <= '9'; };
    const int passes = is_number(argv[argc - 1]) ? std::atoi(argv[argc - 1]) : 32;
    if (passes < static_cast<int>(SEGMENTS))
        throw std::runtime_error("too few passes");

    std::vector<Coder> coders = talv_coders("talvcodec", argv[1]);
    std::vector<std::string> missing;
    const auto add = [&](const std::vector<Coder> &more) { coders.insert(coders.end(), more.begin(), more.end()); };
    if (argc > 2 && !is_number(argv[2]))
        add(talv_coders("talvcodec without AVX2", argv[2]));
#ifdef TALV_PEER_CODEC2
    add(codec2_coders());
#else
    missing.insert(missing.end(), {"codec2 2400", "codec2 1300", "codec2 700C"});
#endif
#ifdef TALV_PEER_SPEEX
    add(speex_coders());
#else
    missing.push_back("Speex 2150");
#endif
#ifdef TALV_PEER_SPANDSP
    add(spandsp_coders());
#else
    missing.insert(missing.end(), {"LPC-10", "GSM 06.10 (spandsp)"});
#endif
#ifdef TALV_PEER_GSM
    add(gsm_coders());
#else
    missing.push_back("GSM 06.10 (libgsm)");
#endif
#ifdef TALV_PEER_OPUS
    add(opus_coders());
#else
    missing.push_back("Opus 6000");
#endif

    std::vector<int16_t> speech = bundled_speech(PIECE);
    const std::vector<int16_t> as_read = speech;
    const size_t pieces = speech.size() / PIECE;
    const double seconds = static_cast<double>(speech.size()) / TALV_SAMPLE_RATE;

    std::vector<Entry> entries;
    for (const Coder &coder : coders) {
        if (PIECE % coder.frame_len != 0)
            throw std::runtime_error(coder.name + ": a piece is not a whole number of its frames");
        entries.push_back({coder, {}, PieceTimes(pieces), PieceTimes(pieces)});
        encode_all(&entries.back(), &speech);
        check_decoding(&entries.back(), speech);
    }
    for (int pass = 0; pass < passes; pass++)
        time_pass(&entries, &speech);
    if (speech != as_read)
        throw std::runtime_error("a codec wrote to its input: they did not have the same speech");

    std::printf("| %-22s | encode µs | median   | ratio  | ratio in thirds  | decode µs | median   | ratio  | ratio in "
                "thirds  |\n| --- | --: | --: | --: | --- | --: | --: | --: | --- |\n",
                "codec");
    for (const Entry &entry : entries) {
        std::printf("| %-22s |", entry.coder.name.c_str());
        print_direction(entry.encode_us, entries.front().encode_us, seconds);
        print_direction(entry.decode_us, entries.front().decode_us, seconds);
        std::printf("\n");
    }
    for (const std::string &name : missing)
        std::printf("| %-22s | not measured | | | | not measured | | | |\n", name.c_str());
    std::printf("\n%.1f s of speech, %zu pieces, %d passes\n", seconds, pieces, passes);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "talv_peers: %s\n", error.what());
        return 1;
    }
}

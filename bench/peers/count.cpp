/** One pass over the bundled speech, for a program that counts instructions
 *
 *    talv_count LIBRARY [read | encode | both]
 *
 *  Prints the seconds of speech that went through each direction, and nothing else. Counters are to be told to collect
 *  within TALV_SpeechEncode or TALV_SpeechDecode alone: the reading of the recordings is outside of both. What can only
 *  count everything takes the differences: the recordings read, encoded too, and (as without a word) decoded as well.
 */
#include "library.h"
#include "speech.h"

#include <cstdio>
#include <exception>
#include <string_view>

int main(int argc, char **argv)
{
    using namespace talv::bench;
    const std::string_view what = argc == 3 ? argv[2] : "both";
    if (argc < 2 || argc > 3 || (what != "read" && what != "encode" && what != "both")) {
        std::fprintf(stderr, "usage: talv_count LIBRARY [read | encode | both]\n");
        return 2;
    }
    try {
        const Library library = load_library(argv[1]);
        const auto codec = open_instance(library);
        const std::vector<int16_t> speech = bundled_speech(TALV_FRAME_SAMPLES);
        for (size_t at = 0; at < speech.size(); at += TALV_FRAME_SAMPLES) {
            uint8_t frame[TALV_FRAME_BYTES] = {};
            int16_t pcm[TALV_FRAME_SAMPLES];
            uint32_t bytes;
            if (what != "read")
                library.encode(codec.get(), speech.data() + at, frame, &bytes);
            if (what == "both")
                library.decode(codec.get(), frame, pcm, &bytes);
        }
        std::printf("%.2f\n", static_cast<double>(speech.size()) / TALV_SAMPLE_RATE);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "talv_count: %s\n", error.what());
        return 1;
    }
    return 0;
}

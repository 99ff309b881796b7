#include "coder.h"

namespace talv::bench
{

std::vector<Coder> talv_coders(const std::string &name, const std::string &library_path)
{
    const Library library = load_library(library_path);
    Coder coder;
    coder.name = name;
    coder.frame_len = TALV_FRAME_SAMPLES;
    coder.new_encoder = [library] {
        return [encode = library.encode, codec = open_instance(library)](int16_t *pcm, uint8_t *frame) {
            uint32_t bytes;
            encode(codec.get(), pcm, frame, &bytes);
            return size_t{bytes};
        };
    };
    coder.new_decoder = [library] {
        return [decode = library.decode, codec = open_instance(library)](uint8_t *frame, size_t, int16_t *pcm) {
            uint32_t bytes;
            decode(codec.get(), frame, pcm, &bytes);
        };
    };
    return {coder};
}

} // namespace talv::bench

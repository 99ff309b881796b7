#include "coder.h"

#include <codec2/codec2.h>

namespace talv::bench
{

std::vector<Coder> codec2_coders()
{
    struct Mode {
        const char *name;
        int number;
        size_t frame_len;
    };
    static const Mode modes[] = {
        {"codec2 2400", CODEC2_MODE_2400, 160},
        {"codec2 1300", CODEC2_MODE_1300, 320},
        {"codec2 700C", CODEC2_MODE_700C, 320},
    };

    std::vector<Coder> coders;
    for (const Mode &mode : modes) {
        const auto open = [mode] {
            std::shared_ptr<CODEC2> codec = owned(codec2_create(mode.number), codec2_destroy, mode.name);
            if (static_cast<size_t>(codec2_samples_per_frame(codec.get())) != mode.frame_len)
                throw std::runtime_error(std::string(mode.name) + " has frames of another length");
            return codec;
        };
        coders.push_back({mode.name, mode.frame_len,
                          [open] {
                              const auto codec = open();
                              const size_t nbytes = static_cast<size_t>(codec2_bytes_per_frame(codec.get()));
                              return [codec, nbytes](int16_t *pcm, uint8_t *frame) {
                                  codec2_encode(codec.get(), frame, pcm);
                                  return nbytes;
                              };
                          },
                          [open] {
                              return [codec = open()](uint8_t *frame, size_t, int16_t *pcm) {
                                  codec2_decode(codec.get(), pcm, frame);
                              };
                          }});
    }
    return coders;
}

} // namespace talv::bench

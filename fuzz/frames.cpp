/* Bare frames: their reader, and what hosts do with a frame (host/talvhost.h). */
#include "coded_in.h"
#include "commands.h"
#include "failure.h"
#include "memory_file.h"

#include <cstring>
#include <talvhost.h>

using namespace talv;

namespace
{

void check_host(const uint8_t *frame, TALV_Conceal *conceal)
{
    TALV_FrameFields fields;
    TALV_FrameUnpack(frame, &fields);
    uint8_t packed[TALV_FRAME_BYTES];
    FUZZ_CHECK(TALV_FramePack(&fields, packed) == 0);
    FUZZ_CHECK(std::memcmp(packed, frame, TALV_FRAME_BYTES - 1) == 0);

    TALV_FrameSound sound;
    TALV_FrameDescribe(frame, &sound);
    for (int k = 0; k < 10; k++)
        FUZZ_CHECK(sound.lsf_hz[k] > (k == 0 ? 0.0f : sound.lsf_hz[k - 1]) && sound.lsf_hz[k] < 4000.0f);
    FUZZ_CHECK(sound.voicing[0] >= 0.0f && sound.voicing[1] >= 0.0f && sound.level_dbov <= 0.0f);

    TALV_ConcealReceived(conceal, frame);
    for (int lost = 1; lost <= (frame[TALV_FRAME_BYTES - 1] & 0x0F); lost++)
        FUZZ_CHECK(TALV_ConcealLost(conceal, packed) == std::min(lost, TALV_CONCEAL_FADE + 1));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static fuzz::MemoryFile file;
    file.set(data, size);
    TALV_Conceal conceal;
    TALV_ConcealInit(&conceal);
    size_t at = 0;
    try {
        CodedIn in(file.path(), size % 2 == 0);
        CodedFrame frame;
        while (in.read(frame)) {
            if (!in.is_ogg()) {
                FUZZ_CHECK(std::memcmp(frame.bytes, data + at, TALV_FRAME_BYTES) == 0);
                check_host(frame.bytes, &conceal);
            }
            at += TALV_FRAME_BYTES;
        }
        FUZZ_CHECK(in.is_ogg() || at == size);
        if (size % 16 == 0) {
            FramesJob job;
            job.in = file.path();
            job.out = "/dev/null";
            job.format = size % 32 == 0 ? "csv" : "jsonl";
            frames_command(job);
        }
    } catch (const Failure &failure) {
        FUZZ_CHECK(failure.status != Status::odd_length || size % TALV_FRAME_BYTES != 0);
    }
    return 0;
}

/* Frames from lines of text, CSV and JSON. */
#include "commands.h"
#include "failure.h"
#include "memory_file.h"

using namespace talv;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static fuzz::MemoryFile file;
    file.set(data, size);
    FramesJob job;
    job.in = file.path();
    job.out = "/dev/null";
    job.coded.bare = true;
    try {
        frames_command(job);
    } catch (const Failure &failure) {
        FUZZ_CHECK(failure.status == Status::alien);
    }
    return 0;
}

#include "search/talvsearch.h"

#include "codec/frame.h"
#include "search/dispatch.h"

#include <cstdint>
#include <cstdlib>

struct TALV_Search {
    const talv::SearchRoutines *routines; /* of the search, chosen for this processor at open                  */
    TALV_Codec *plain;                    /* the plain encoder, at effort 0 alone                              */
    void *state;                          /* of the search, at all others; behind this record in the same block */
    int32_t effort;
    int32_t held_back; /* frames that calls have yet to give beyond the plain delay            */
    int32_t due;       /* of these, those that the first calls withheld and a flush will fetch */
};

namespace
{

void start(TALV_Search *search) noexcept
{
    search->due = 0;
    search->held_back = 0;
    if (search->effort == 0)
        TALV_EncodeInit(search->plain);
    else
        search->held_back = search->routines->reset(search->state, search->effort);
}

/** The first multiple of `align` from an address on */
void *aligned(void *address, size_t align) noexcept
{
    const size_t beyond = reinterpret_cast<uintptr_t>(address) % align;
    return static_cast<unsigned char *>(address) + (beyond == 0 ? 0 : align - beyond);
}

} // namespace

extern "C" {

int32_t TALV_SearchOpen(TALV_Search **handle, int32_t effort) noexcept
{
    *handle = nullptr;
    if (effort < 0 || effort > TALV_SEARCH_EFFORT_MAX)
        return TALV_NO_SUCH_EFFORT;
    const talv::SearchRoutines *routines = talv::choose_search();
    const size_t room = effort == 0 ? 0 : routines->state_size + routines->state_align;
    TALV_Search *search = static_cast<TALV_Search *>(std::calloc(1, sizeof(TALV_Search) + room));
    if (search == nullptr)
        return TALV_NO_MEMORY;
    search->routines = routines;
    search->effort = effort;
    if (effort == 0 && TALV_CodecOpen(&search->plain) != TALV_OK) {
        std::free(search);
        return TALV_NO_MEMORY;
    }
    search->state = aligned(search + 1, routines->state_align);
    start(search);
    *handle = search;
    return TALV_OK;
}

int32_t TALV_SearchClose(TALV_Search *search) noexcept
{
    if (search != nullptr)
        TALV_CodecClose(search->plain);
    std::free(search);
    return TALV_OK;
}

int32_t TALV_SearchReset(TALV_Search *search) noexcept
{
    start(search);
    return TALV_OK;
}

int32_t TALV_SearchEncode(TALV_Search *search, const int16_t *pcm, uint8_t *frame, uint32_t *bytes) noexcept
{
    if (search->effort == 0)
        return TALV_SpeechEncode(search->plain, pcm, frame, bytes);
    talv::FrameParams params;
    search->routines->frame(search->state, pcm, &params);
    *bytes = 0;
    if (search->held_back > 0) { /* this one describes what lies before the stream's first frame */
        search->held_back--;
        search->due++;
        return TALV_OK;
    }
    talv::frame_pack(&params, frame);
    *bytes = TALV_FRAME_BYTES;
    return TALV_OK;
}

int32_t TALV_SearchFlush(TALV_Search *search, uint8_t *frame, uint32_t *bytes) noexcept
{
    *bytes = 0;
    const int16_t silence[TALV_FRAME_SAMPLES] = {};
    while (search->due > 0 && *bytes == 0) { /* a stream of fewer frames than are held back has yet to give its first */
        search->due--;
        TALV_SearchEncode(search, silence, frame, bytes);
    }
    return TALV_OK;
}

} // extern "C"

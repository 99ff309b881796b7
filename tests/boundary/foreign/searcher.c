/* A program that searches, built on the installed package: the longest effort gives nothing in its first call. */
#include <talvsearch.h>

int main(void)
{
    TALV_Search *search;
    int16_t pcm[TALV_FRAME_SAMPLES] = {0};
    uint8_t frame[TALV_FRAME_BYTES];
    uint32_t bytes = 0;
    if (TALV_SearchOpen(&search, TALV_SEARCH_EFFORT_MAX) != TALV_OK)
        return 1;
    TALV_SearchEncode(search, pcm, frame, &bytes);
    if (bytes != 0)
        return 2;
    TALV_SearchFlush(search, frame, &bytes);
    TALV_SearchClose(search);
    return bytes == TALV_FRAME_BYTES ? 0 : 3;
}

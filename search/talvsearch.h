/** talvsearch: an encoder that listens
 *
 *  The plain encoder of talvcodec measures the speech and codes what it measured. This one decodes what it is about to
 *  send, compares it with the speech, and chooses the frame that sounds best. The frames have the same form and every
 *  decoder plays them; only more work is done to find them.
 *
 *    effort 0   the plain encoder itself
 *    effort 1   the plain quantisers, but every value measured at the moment at which the decoder applies it
 *    effort 2   a short search
 *    effort 3   a full search that is meant for live speech: five times as fast as the speech on one core
 *    effort 4   a longer one
 *    effort 5   the longest, which looks two frames further ahead: for files
 *
 *  Alignment and delay are those of the plain encoder (480 samples with the decoder's), up to effort 4. Effort 5 holds
 *  back two frames more: the first two calls give none, and after the last one TALV_SearchFlush gives them. The stream is
 *  the same in form: its first two frames describe the silence before the speech.
 *
 *      TALV_Search *search;
 *      if (TALV_SearchOpen(&search, 3) != TALV_OK)
 *          return 1;
 *      for each 30 ms, and for two blocks of zeros at the end:
 *          TALV_SearchEncode(search, pcm, frame, &bytes);
 *          send `bytes` bytes of frame
 *      do {
 *          TALV_SearchFlush(search, frame, &bytes);
 *          send `bytes` bytes of frame
 *      } while (bytes > 0);
 *      TALV_SearchClose(search);
 *
 *  The same input and effort give the same frames on every machine. Memory: TALV_SearchOpen allocates one block of less
 *  than 128 KiB; nothing else is ever allocated. A call uses less than 64 KiB of stack. Threads, pointers and messages:
 *  as in talvcodec.h. An instance takes one caller at a time.
 */
#ifndef TALVSEARCH_H
#define TALVSEARCH_H

#include <stdint.h>
#include <talvcodec.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TALV_SEARCH_EFFORT_MAX 5
#define TALV_SEARCH_EFFORT_LIVE 3

#define TALV_NO_SUCH_EFFORT 2 /* TALV_SearchOpen alone; beside TALV_OK and TALV_NO_MEMORY */

/** An instance. Its layout is the library's own. */
typedef struct TALV_Search TALV_Search;

/** Open an instance at the start of a stream
 *
 *  handle   out   the instance, to be closed by TALV_SearchClose; null when there is none
 *  effort   in    0 to TALV_SEARCH_EFFORT_MAX
 *  return         TALV_OK, TALV_NO_MEMORY or TALV_NO_SUCH_EFFORT
 */
TALV_API int32_t TALV_SearchOpen(TALV_Search **handle, int32_t effort) TALV_NOEXCEPT;

/** Close an instance; null is accepted and does nothing
 *
 *  return         TALV_OK
 */
TALV_API int32_t TALV_SearchClose(TALV_Search *search) TALV_NOEXCEPT;

/** Put an instance back to the start of a stream; what was held back is lost
 *
 *  return         TALV_OK
 */
TALV_API int32_t TALV_SearchReset(TALV_Search *search) TALV_NOEXCEPT;

/** Encode one frame
 *
 *  pcm      in    TALV_FRAME_SAMPLES samples; any values
 *  frame    out   TALV_FRAME_BYTES bytes, or nothing
 *  bytes    out   the number of bytes written: TALV_FRAME_BYTES, or 0 in the first two calls of effort 5
 *  return         TALV_OK
 */
TALV_API int32_t TALV_SearchEncode(TALV_Search *search, const int16_t *pcm, uint8_t *frame,
                                   uint32_t *bytes) TALV_NOEXCEPT;

/** Fetch a frame that is held back, as if silence followed what was encoded
 *
 *  frame    out   TALV_FRAME_BYTES bytes, or nothing
 *  bytes    out   TALV_FRAME_BYTES, or 0 when nothing is held back any more
 *  return         TALV_OK
 */
TALV_API int32_t TALV_SearchFlush(TALV_Search *search, uint8_t *frame, uint32_t *bytes) TALV_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif

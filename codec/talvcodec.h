/** talvcodec: speech at 2000 bit/s
 *
 *  The codec turns 30 ms of speech into 8 bytes and 8 bytes back into 30 ms of speech.
 *
 *    frame       240 samples, signed 16-bit linear PCM, mono, 8 kHz  <->  8 bytes, of which 60 bits carry data
 *    bit rate    2000 bit/s of data (2133 bit/s with the four spare bits of each frame)
 *    delay       480 samples (60 ms): the samples of decode call t are those of encode call t-2. The first two frames
 *                of a stream hold the silence before it; to get the last two blocks out, encode two blocks of zeros.
 *    level       the full range of 16 bits may be used; speech at -30 to -20 dB of full scale is usual
 *
 *  Life of an instance:
 *
 *    TALV_CodecOpen -> TALV_SpeechEncode and TALV_SpeechDecode, in any order, a frame a call -> TALV_CodecClose
 *
 *  One instance holds one encoder and one decoder, two independent streams that share nothing. A stream must be fed in
 *  order and without gaps. A frame has no header, no length and no check: every 8 bytes decode, and what was damaged
 *  on the way is heard. The same input gives the same bits and samples on every machine.
 *
 *  A complete program, speech on standard input to decoded speech on standard output, both raw in the machine's own
 *  byte order:
 *
 *      #include <stdio.h>
 *      #include <talvcodec.h>
 *
 *      int main(void)
 *      {
 *          TALV_Codec *codec;
 *          short pcm[TALV_FRAME_SAMPLES];
 *          unsigned char frame[TALV_FRAME_BYTES];
 *          unsigned int bytes;
 *
 *          if (TALV_CodecOpen(&codec) != TALV_OK)
 *              return 1;
 *          while (fread(pcm, sizeof pcm, 1, stdin) == 1) {
 *              TALV_SpeechEncode(codec, pcm, frame, &bytes);
 *              TALV_SpeechDecode(codec, frame, pcm, &bytes);
 *              fwrite(pcm, sizeof pcm, 1, stdout);
 *          }
 *          TALV_CodecClose(codec);
 *          return 0;
 *      }
 *
 *  Memory: TALV_CodecOpen allocates one block of less than 16 KiB; nothing else is ever allocated. A call uses less
 *  than 16 KiB of stack.
 *
 *  Threads: the library has no threads, no locks and no writable data of its own. Instances may be used on different
 *  threads at once, and so may the encoder and the decoder of one instance. Each direction of an instance takes one
 *  caller at a time.
 *
 *  Pointers are trusted: none is tested, but for the null that TALV_CodecClose accepts.
 *
 *  Messages: on a steady, nearly pure tone the encoder may find no spectral envelope for a frame. It then prints
 *  "getlsf2: Problem index =  -4" on a line of standard output, goes on with the envelope before, and the frame is as
 *  valid as any. No other message comes from a running stream.
 */
#ifndef TALVCODEC_H
#define TALVCODEC_H

#include <stdint.h>

#define TALV_VERSION_MAJOR 0
#define TALV_VERSION_MINOR 1
#define TALV_VERSION_PATCH 0

#define TALV_ABI_VERSION 0 /* the number in the shared library's name */

#define TALV_SAMPLE_RATE 8000  /* Hz                                             */
#define TALV_FRAME_SAMPLES 240 /* samples a frame                                */
#define TALV_FRAME_BYTES 8     /* bytes a frame                                  */
#define TALV_DELAY_SAMPLES 480 /* encoder and decoder together                   */
#define TALV_BIT_RATE 2000     /* data bits a second                             */

#define TALV_OK 0        /* done                                                  */
#define TALV_NO_MEMORY 1 /* TALV_CodecOpen alone                                  */

#if defined(__cplusplus) && __cplusplus >= 201103L
#define TALV_NOEXCEPT noexcept
#else
#define TALV_NOEXCEPT
#endif

#if defined(__GNUC__) && !defined(_WIN32)
#define TALV_API __attribute__((visibility("default")))
#else
#define TALV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** An instance: one encoder and one decoder. Its layout is the library's own. */
typedef struct TALV_Codec TALV_Codec;

/** Open an instance, both directions at the start of a stream
 *
 *  handle   out   the instance, to be closed by TALV_CodecClose; null when there is no memory
 *  return         TALV_OK, or TALV_NO_MEMORY ("Failed to Open CODEC Instance" then goes to standard output)
 */
TALV_API int32_t TALV_CodecOpen(TALV_Codec **handle) TALV_NOEXCEPT;

/** Close an instance; it must not be used afterwards
 *
 *  instance       null is accepted and does nothing
 *  return         TALV_OK
 */
TALV_API int32_t TALV_CodecClose(TALV_Codec *instance) TALV_NOEXCEPT;

/** Put the encoder back to the start of a stream; the decoder is left as it is
 *
 *  May be called at any time between frames. What follows depends on nothing that came before.
 *  return         TALV_OK
 */
TALV_API int32_t TALV_EncodeInit(TALV_Codec *instance) TALV_NOEXCEPT;

/** Put the decoder back to the start of a stream; the encoder is left as it is
 *
 *  return         TALV_OK
 */
TALV_API int32_t TALV_DecodeInit(TALV_Codec *instance) TALV_NOEXCEPT;

/** Encode one frame
 *
 *  pcm      in    TALV_FRAME_SAMPLES samples; any values
 *  frame    out   TALV_FRAME_BYTES bytes: they describe the block given two calls before. The low four bits of the
 *                 last byte are 0 and free for the host's use
 *  bytes    out   the number of bytes written, always TALV_FRAME_BYTES
 *  return         TALV_OK
 *
 *  The buffers must not overlap.
 */
TALV_API int32_t TALV_SpeechEncode(TALV_Codec *instance, const int16_t *pcm, uint8_t *frame,
                                   uint32_t *bytes) TALV_NOEXCEPT;

/** Decode one frame
 *
 *  frame    in    TALV_FRAME_BYTES bytes, any values; the low four bits of the last byte are not read
 *  pcm      out   TALV_FRAME_SAMPLES samples. What goes beyond 16 bits comes out as -32768: there is no saturation
 *  bytes    out   the number of bytes read, always TALV_FRAME_BYTES
 *  return         TALV_OK
 *
 *  There is no call for a lost frame. A host that knows of a loss passes a frame of its own choice (its last one, say),
 *  so that the stream keeps its time.
 */
TALV_API int32_t TALV_SpeechDecode(TALV_Codec *instance, const uint8_t *frame, int16_t *pcm,
                                   uint32_t *bytes) TALV_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif

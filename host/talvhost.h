/** talvhost: what a host needs beside the codec
 *
 *  A small static library for programs that carry frames over a network or a radio. It reads and writes the fields of
 *  a frame, says what they mean, and finds the frame to decode in the place of one that was lost. The codec has no call
 *  for a lost frame: every 8 bytes decode, and the host chooses what stands in for those that did not come.
 *
 *      TALV_Conceal conceal;
 *      TALV_ConcealInit(&conceal);
 *      for each 30 ms:
 *          if (a frame came) TALV_ConcealReceived(&conceal, frame);
 *          else              TALV_ConcealLost(&conceal, frame);
 *          TALV_SpeechDecode(codec, frame, pcm, &bytes);
 *
 *  Nothing is allocated, nothing is global, and nothing is kept but in the caller's records. Pointers are trusted.
 */
#ifndef TALVHOST_H
#define TALVHOST_H

#include <stdint.h>
#include <talvcodec.h>

#ifdef __cplusplus
extern "C" {
#endif

#define TALV_FRAME_FIELDS 15 /* numbers in a frame: 1 pitch, 10 LSF, 2 gain, 1 periodicity, 1 amplitudes */

/** The fields of a frame, in the order of its bits */
typedef struct TALV_FrameFields {
    int32_t pitch;   /* 0..127: lag in samples - 20                             */
    int32_t lsf[10]; /* below 16 16 8 8 8 8 8 8 8 4                             */
    int32_t gain[2]; /* 0..31: a row of each of the two stages                  */
    int32_t rs;      /* 0..31: the periodicity pair                             */
    int32_t as;      /* 0..127: the amplitudes of the first ten harmonics       */
} TALV_FrameFields;

/** What a frame says, in units */
typedef struct TALV_FrameSound {
    float pitch_hz;   /* 54.4..400; means little where the voicing is low                              */
    float lsf_hz[10]; /* line spectral frequencies as the decoder uses them, ascending, 0..4000         */
    float voicing[2]; /* of the two halves of the frame: 1 a periodic voice, 0 noise                    */
    float rms[4];     /* of the four quarters of the frame, in units of a 16-bit sample                 */
    float level_dbov; /* of the whole frame, 0 being a square wave of full scale; -100 and less is -100 */
} TALV_FrameSound;

/** Frame to fields
 *  frame    in    TALV_FRAME_BYTES bytes; the four spare bits are not read
 *  fields   out
 */
void TALV_FrameUnpack(const uint8_t *frame, TALV_FrameFields *fields);

/** Fields to frame; the four spare bits are written as 0
 *  frame    out   TALV_FRAME_BYTES bytes
 *  return         0; -1 when a field is out of its range (the frame is then left as it was)
 */
int32_t TALV_FramePack(const TALV_FrameFields *fields, uint8_t *frame);

/** The greatest value of field k in the order of the bits, k = 0..TALV_FRAME_FIELDS - 1 */
int32_t TALV_FrameFieldMax(int32_t k);

/** What a frame says
 *  frame    in    TALV_FRAME_BYTES bytes
 *  sound    out
 */
void TALV_FrameDescribe(const uint8_t *frame, TALV_FrameSound *sound);

#define TALV_CONCEAL_HOLD 1 /* lost frames at the level of the last one                */
#define TALV_CONCEAL_FADE 6 /* lost frames after which there is silence                */

/** Loss concealment: the frame to fall back on and how long ago it came */
typedef struct TALV_Conceal {
    uint8_t held[TALV_FRAME_BYTES];
    int32_t lost; /* frames lost since, at most TALV_CONCEAL_FADE + 1 */
} TALV_Conceal;

/** Begin a stream: before the first frame there is silence */
void TALV_ConcealInit(TALV_Conceal *conceal);

/** A frame came: remember it
 *  frame    in    TALV_FRAME_BYTES bytes
 */
void TALV_ConcealReceived(TALV_Conceal *conceal, const uint8_t *frame);

/** A frame is lost: find the one to decode in its place
 *
 *  Pitch, envelope, periodicity and amplitudes of the last frame that came are held. The gains go on from its last
 *  quarter: level for the first lost frame, then falling evenly in dB by 6 dB a frame, and after TALV_CONCEAL_FADE
 *  lost frames there is silence.
 *  frame    out   TALV_FRAME_BYTES bytes, to be given to TALV_SpeechDecode
 *  return         frames lost in a row, this one included, at most TALV_CONCEAL_FADE + 1
 */
int32_t TALV_ConcealLost(TALV_Conceal *conceal, uint8_t *frame);

#ifdef __cplusplus
}
#endif

#endif

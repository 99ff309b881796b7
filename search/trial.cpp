#include "search/trial.h"

#include "decoder/decoder.h"
#include "dsp/vq.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int OUT_PAST = 10; /* samples of history in front of a frame in DecoderState::out_hist */

constexpr float NEXT_HOPE = 0.85f;     /* the least that a choice is thought to leave of the next frame's cost */
constexpr float RS_PRICE = 8.0f;       /* of a squared difference from the periodicity measured, towards noise  */
constexpr float RS_BUZZ_PRICE = 64.0f; /* and towards more periodic than the speech is                         */
constexpr int JUMP_SPAN = 120;         /* samples on either side that tell the level                            */
constexpr float JUMP_FREE = 2.5f;      /* steps of up to two and a half times the RMS are speech's own         */
constexpr float JUMP_PRICE = 60.0f;    /* of what goes beyond, for each RMS: more than the field is worth      */
constexpr float QUIET_ENERGY = 2e5f;   /* of an RMS of about 30                                                 */
constexpr float FULL_SCALE = 32767.0f; /* beyond it the decoder does not saturate but breaks                   */
constexpr float BREAK_PRICE = 1000.0f; /* of a frame that does, and another for each step beyond               */

/** A click: the step from frame to frame, beyond what speech of its level has
 *  x  I  [-JUMP_SPAN .. JUMP_SPAN-1]   around the first sample of a frame                                            */
float jump_price(const float *x) noexcept
{
    Float4 squares{};
    for (int n = -JUMP_SPAN; n < JUMP_SPAN; n += LANES)
        squares += load4(x + n) * load4(x + n);
    const float energy = QUIET_ENERGY + ((squares[0] + squares[1]) + (squares[2] + squares[3]));
    const float jump = std::fabs(x[0] - x[-1]) / std::sqrt(energy / (2.0f * JUMP_SPAN));
    return JUMP_PRICE * std::max(jump - JUMP_FREE, 0.0f);
}

/** What the fields claim that the speech does not say, whatever it sounds like: the distance alone would trade voicing
 *  for a fraction of loudness                                                                             */
float price(const Targets *target, const FrameParams *params) noexcept
{
    float sum = 0.0f;
    const float *rs = rs_codebook + params->rs_index * RS_DIM;
    for (int i = 0; i < RS_DIM; i++) {
        const float d = rs[i] - target->rs[i];
        sum += (d < 0.0f ? RS_BUZZ_PRICE : RS_PRICE) * d * d;
    }
    return sum;
}

/** The largest magnitude of a frame's samples
 *  x  I  [FRAME_LEN]                                                                                                */
float largest_magnitude(const float *x) noexcept
{
    Float4 least = -magnitude(load4(x));
    for (int n = LANES; n < FRAME_LEN; n += LANES)
        least = smaller(least, -magnitude(load4(x + n)));
    return -std::min(std::min(least[0], least[1]), std::min(least[2], least[3]));
}

/** Decode a frame
 *  after  O                                  the mirror behind it; not `before`
 *  x      O  [WINDOW_PAST + FRAME_LEN]       the frame's samples, and before them what was heard last                */
void decode(const Mirror *before, const FrameParams *params, Mirror *after, float *x) noexcept
{
    int16_t pcm[FRAME_LEN]; /* what is compared are the samples before their rounding */
    after->dec = before->dec;
    decoder_synthesise(&after->dec, params, pcm);
    std::copy_n(before->past, WINDOW_PAST, x);
    std::copy_n(after->dec.out_hist + OUT_PAST, FRAME_LEN, x + WINDOW_PAST);
    std::copy_n(x + FRAME_LEN, WINDOW_PAST, after->past);
}

struct Outcome {
    float cost;
    Float4 heard;
};

/** Decode a frame and compare it with the speech
 *  after  O   the mirror behind it; not `before`                                                                    */
Outcome judge(const Trial *trial, int frame, const Mirror *before, const FrameParams *params, Mirror *after) noexcept
{
    float x[WINDOW_PAST + FRAME_LEN];
    decode(before, params, after, x);
    Loudness heard;
    frame_loudness(x + WINDOW_PAST, &heard);
    const Float4 distance = loudness_distance(&heard, &trial->wanted[frame]);
    const float peak = largest_magnitude(x + WINDOW_PAST);
    float extra = price(&trial->target[frame], params) + jump_price(x + WINDOW_PAST);
    if (peak > FULL_SCALE)
        extra += BREAK_PRICE * (1.0f + peak - FULL_SCALE);
    return {(distance[0] + distance[1]) + (distance[2] + distance[3]) + extra, total_loudness(&heard)};
}

} // namespace

void mirror_decode(const Mirror *before, const FrameParams *params, Mirror *after) noexcept
{
    float x[WINDOW_PAST + FRAME_LEN];
    decode(before, params, after, x);
}

void settle(Trial *trial, int frame) noexcept
{
    for (; frame < trial->frames; frame++) {
        const Outcome outcome =
            judge(trial, frame, &trial->before[frame], &trial->chosen[frame], &trial->before[frame + 1]);
        trial->cost[frame] = outcome.cost;
        trial->heard[frame] = outcome.heard;
    }
}

bool try_choice(Trial *trial, int frame, const FrameParams *params) noexcept
{
    if (std::memcmp(params, &trial->chosen[frame], sizeof *params) == 0)
        return false;
    const bool has_next = frame + 1 < trial->frames;
    const float next_cost = has_next ? trial->cost[frame + 1] : 0.0f;
    const float bound = trial->cost[frame] + next_cost;

    Mirror after, after_next;
    const Outcome now = judge(trial, frame, &trial->before[frame], params, &after);
    if (now.cost + NEXT_HOPE * next_cost >= bound)
        return false;
    if (has_next) {
        const Outcome next = judge(trial, frame + 1, &after, &trial->chosen[frame + 1], &after_next);
        if (now.cost + next.cost >= bound)
            return false;
        trial->cost[frame + 1] = next.cost;
        trial->heard[frame + 1] = next.heard;
        trial->before[frame + 2] = after_next;
    }
    trial->chosen[frame] = *params;
    trial->cost[frame] = now.cost;
    trial->heard[frame] = now.heard;
    trial->before[frame + 1] = after;
    return true;
}

} // namespace talv::inline TALV_TARGET

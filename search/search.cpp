#include "search/search.h"

#include "decoder/decoder.h"
#include "encoder/encoder.h"
#include "search/descent.h"

#include <algorithm>
#include <cmath>

namespace talv::inline TALV_TARGET
{

namespace
{

/* The speech is wanted 1.5 dB softer than it is. The plain encoder's comes out softer by one to three decibels, and what
 * was searched must not stand out beside what was not.                                                              */
constexpr float WANTED_LEVEL = 0.84f;

/* Below this peak there is nothing to search for. */
constexpr float SILENT_PEAK = 4.0f;

bool is_silent(const SpeechHistory *history) noexcept
{
    const float *x = at(history->sig, -WINDOW_PAST);
    for (int n = 0; n < WINDOW_PAST + 2 * FRAME_LEN; n++)
        if (std::fabs(x[n]) >= SILENT_PEAK)
            return false;
    return true;
}

/** Loudness of a frame of the speech */
void measure_wanted(const SpeechHistory *history, int frame, Loudness *wanted) noexcept
{
    float x[WINDOW_PAST + FRAME_LEN];
    const float *from = at(history->sig, frame * FRAME_LEN - WINDOW_PAST);
    for (int n = 0; n < WINDOW_PAST + FRAME_LEN; n++)
        x[n] = WANTED_LEVEL * from[n];
    frame_loudness(x + WINDOW_PAST, wanted);
}

/** Move on by a frame: what was the next one is now the one to be sent */
void advance(Trial *trial) noexcept
{
    trial->before[0] = trial->before[1];
    for (int frame = 0; frame + 1 < trial->frames; frame++) {
        trial->chosen[frame] = trial->chosen[frame + 1];
        trial->wanted[frame] = trial->wanted[frame + 1];
    }
}

/** Measure all the frames at hand: the signal behind the older ones is known better now */
void measure(SearchState *search) noexcept
{
    Trial *trial = &search->trial;
    LagPoint points[BLOCKS_MAX];
    lag_path_advance(&search->path, &search->history, points);
    for (int frame = 0; frame < trial->frames; frame++) {
        trial->target[frame].pitch = points[frame];
        measure_targets(&search->history, frame, &trial->target[frame]);
    }
    measure_wanted(&search->history, trial->frames - 1, &trial->wanted[trial->frames - 1]);
}

/** Where the speech is periodic, a choice keeps to the track: whatever lag it was made with */
void keep_to_track(const Targets *target, FrameParams *params) noexcept
{
    constexpr float PERIODIC = 0.5f;
    const int32_t index = target->pitch.lag - LAG_MIN;
    if (target->pitch.score[index] >= PERIODIC)
        params->pitch_index = index;
}

/** Search the frames, the one to be sent before and after those that follow it
 *  plain  I   the plain encoder's choice for frame 0                                                                */
void choose(Trial *trial, const FrameParams *plain) noexcept
{
    const int last = trial->frames - 1;
    quantise_targets(&trial->target[last], &trial->chosen[last]);
    for (int frame = 0; frame < last; frame++)
        keep_to_track(&trial->target[frame], &trial->chosen[frame]);
    settle(trial, 0);
    FrameParams other;
    quantise_targets(&trial->target[0], &other);
    try_choice(trial, 0, &other);
    other = *plain;
    keep_to_track(&trial->target[0], &other);
    try_choice(trial, 0, &other);
    for (int pass = 0; pass < trial->effort->passes; pass++) {
        descend(trial, 0, pass);
        if (pass < trial->effort->next_passes)
            for (int frame = 1; frame < trial->frames; frame++) {
                settle(trial, frame);
                descend(trial, frame, pass);
            }
    }
}

} // namespace

void search_reset(SearchState *search, int effort) noexcept
{
    *search = {};
    Trial *trial = &search->trial;
    trial->effort = effort_level(effort);
    trial->frames = trial->effort->frames;
    encoder_reset(&search->enc);
    decoder_reset(&trial->before[0].dec);
    trial->before[1] = trial->before[0]; /* the first call moves on to here */
    history_reset(&search->history, 3 + trial->effort->held_back);
    for (int frame = 0; frame < trial->frames; frame++)
        measure_wanted(&search->history, frame, &trial->wanted[frame]);
}

void search_frame(SearchState *search, const int16_t *pcm, FrameParams *params) noexcept
{
    Trial *trial = &search->trial;
    const int newest = trial->effort->held_back;
    std::copy_n(search->plain + 1, newest, search->plain);
    encoder_analyse(&search->enc, pcm, &search->plain[newest]);
    history_advance(&search->history, &search->enc);
    advance(trial);
    measure(search);
    if (trial->effort->passes == 0)
        quantise_targets(&trial->target[0], &trial->chosen[0]);
    else if (is_silent(&search->history))
        trial->chosen[0] = search->plain[0];
    else
        choose(trial, &search->plain[0]);
    *params = trial->chosen[0];
    mirror_decode(&trial->before[0], params, &trial->before[1]);
}

} // namespace talv::inline TALV_TARGET

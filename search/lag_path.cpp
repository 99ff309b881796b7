#include "search/lag_path.h"

#include "dsp/simd_float.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace talv::inline TALV_TARGET
{

namespace
{

constexpr int WINDOW = 160; /* length of each of the two windows                              */
constexpr int REACH = WINDOW / 2 + LAG_MAX_FRAME / 2 + 1; /* samples on either side that the longest lag needs */
constexpr int STEPS_A_FRAME = FRAME_LEN / PATH_STEP;
constexpr int STEPS_MAX = FUTURE_MAX / PATH_STEP;

constexpr float SILENCE = 1000.0f;       /* energy below which a correlation counts for little         */
constexpr float LONG_LAG_COST = 0.0008f; /* a sample: against multiples of the pitch                  */
constexpr float GLIDE_COST = 2.0f;       /* of a change, by its share of the lag, up to a sixth        */
constexpr int GLIDE_SHARE = 6;
constexpr float JUMP_COST = 1.0f; /* of any other change */

/** The last moment whose windows lie inside what is known */
int path_steps(const SpeechHistory *history) noexcept
{
    return (future(history) - REACH) / PATH_STEP;
}

/** The block that a step speaks for: the one that ends there, or for the last step the newest one; none: -1 */
int block_of(const SpeechHistory *history, int step, int steps) noexcept
{
    if (step == steps)
        return history->blocks - 1;
    return step % STEPS_A_FRAME == 0 ? step / STEPS_A_FRAME - 1 : -1;
}

/** One step of the dynamic programming
 *  before  I  [LAGS]   costs a step earlier
 *  score   I  [LAGS]
 *  after   O  [LAGS]
 *  from    O  [LAGS]   the lag each one was reached from                                                            */
void extend(const float *before, const float *score, float *after, uint8_t *from) noexcept
{
    const int best = static_cast<int>(std::min_element(before, before + LAGS) - before);
    for (int i = 0; i < LAGS; i++) {
        const int lag = LAG_MIN + i;
        const float glide = GLIDE_COST / static_cast<float>(lag);
        const int reach = lag / GLIDE_SHARE;
        float least = before[best] + JUMP_COST;
        int origin = best;
        for (int j = std::max(0, i - reach); j <= std::min(LAGS - 1, i + reach); j++) {
            const float cost = before[j] + glide * static_cast<float>(std::abs(i - j));
            if (cost < least) {
                least = cost;
                origin = j;
            }
        }
        const float periodic = std::max(score[i], 0.0f) * (1.0f - LONG_LAG_COST * static_cast<float>(lag));
        after[i] = least + (1.0f - periodic);
        from[i] = static_cast<uint8_t>(origin);
    }
}

} // namespace

void lag_scores(const float *x, float *score) noexcept
{
    double energy[2 * REACH + 1]; /* of all samples from -REACH up to each one */
    energy[0] = 0.0;
    for (int n = 0; n < 2 * REACH; n++)
        energy[n + 1] = energy[n] + static_cast<double>(x[n - REACH]) * static_cast<double>(x[n - REACH]);
    for (int i = 0; i < LAGS; i++) {
        const int lag = LAG_MIN + i;
        const int first = -WINDOW / 2 - lag / 2, second = first + lag;
        Float4 product[2] = {};
        for (int n = 0; n < WINDOW; n += 2 * LANES) {
            product[0] += load4(x + first + n) * load4(x + second + n);
            product[1] += load4(x + first + n + LANES) * load4(x + second + n + LANES);
        }
        const Float4 sum = product[0] + product[1];
        const float a = static_cast<float>(energy[first + WINDOW + REACH] - energy[first + REACH]);
        const float b = static_cast<float>(energy[second + WINDOW + REACH] - energy[second + REACH]);
        score[i] = ((sum[0] + sum[1]) + (sum[2] + sum[3])) / std::sqrt((a + SILENCE) * (b + SILENCE));
    }
}

void lag_path_advance(LagPath *path, const SpeechHistory *history, LagPoint *point) noexcept
{
    const int steps = path_steps(history);
    float cost[STEPS_MAX + 1][LAGS];
    uint8_t from[STEPS_MAX + 1][LAGS];
    std::copy_n(path->cost, LAGS, cost[0]);
    for (int s = 1; s <= steps; s++) {
        float score[LAGS];
        lag_scores(at(history->low, s * PATH_STEP), score);
        extend(cost[s - 1], score, cost[s], from[s]);
        if (const int block = block_of(history, s, steps); block >= 0)
            std::copy_n(score, LAGS, point[block].score);
    }

    int i = static_cast<int>(std::min_element(cost[steps], cost[steps] + LAGS) - cost[steps]);
    for (int s = steps; s > 0; i = from[s][i], s--)
        if (const int block = block_of(history, s, steps); block >= 0)
            point[block].lag = LAG_MIN + i;

    const float *end = cost[STEPS_A_FRAME];
    const float least = *std::min_element(end, end + LAGS);
    for (int l = 0; l < LAGS; l++)
        path->cost[l] = end[l] - least;
}

} // namespace talv::inline TALV_TARGET

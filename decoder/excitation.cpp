#include "decoder/excitation.h"

#include "decoder/harmonics.h"
#include "dsp/simd_float.h"
#include "dsp/table.h"
#include "dsp/wide.h"

#ifdef TALV_HAS_TABLES
namespace talv::inline TALV_TABLES
{

// clang-format off
/* Noise magnitude over relative frequency w = k/h, c0 + c1 w + c2 w^2 + c3 w^3, for ten steps of periodicity */
const float noise_poly_table[10][4] = {
    {  0.00f,   0.00f,   0.00f,   0.50f},
    {  0.00f,   0.00f,   0.28f,   0.33f},
    {  0.00f,   0.03f,   0.55f,   0.14f},
    {  0.00f,   0.08f,   0.81f,  -0.05f},
    {  0.00f,   0.30f,   0.90f,  -0.20f},
    {  0.00f,   1.10f,  -0.10f,   0.00f},
    {  0.30f,   1.10f,  -0.60f,   0.20f},
    {  0.60f,   0.90f,  -0.90f,   0.40f},
    {  0.85f,   0.50f,  -0.65f,   0.30f},
    {  1.00f,   0.00f,   0.00f,   0.00f},
};

/* Phases as unit vectors, two decimals */
constexpr Complex phase_table[PHASES] = {
    /*   0 */ {-0.93f, -0.37f}, {-0.18f,  0.98f}, { 0.75f, -0.67f}, { 0.95f,  0.32f},
              { 0.99f,  0.10f}, { 0.93f,  0.36f}, { 0.80f, -0.60f}, { 0.89f, -0.46f},
    /*   8 */ { 0.86f, -0.51f}, { 0.52f, -0.86f}, {-0.05f, -1.00f}, { 0.09f, -1.00f},
              {-0.05f, -1.00f}, {-0.05f, -1.00f}, {-0.26f, -0.97f}, {-0.46f, -0.89f},
    /*  16 */ {-0.84f, -0.54f}, {-0.06f,  1.00f}, {-0.06f, -1.00f}, {-0.82f, -0.57f},
              {-0.99f, -0.10f}, {-1.00f, -0.07f}, {-0.99f, -0.13f}, {-0.64f,  0.76f},
    /*  24 */ {-0.51f,  0.86f}, { 0.01f,  1.00f}, {-0.33f,  0.94f}, {-0.37f,  0.93f},
              { 0.10f,  1.00f}, {-0.50f,  0.87f}, {-0.39f,  0.92f}, {-0.47f,  0.88f},
    /*  32 */ { 0.15f,  0.99f}, { 0.46f,  0.89f}, { 0.81f,  0.59f}, { 0.99f,  0.15f},
              { 0.97f, -0.23f}, { 1.00f,  0.00f}, { 1.00f,  0.00f}, { 1.00f, -0.01f},
    /*  40 */ {-0.84f,  0.55f}, { 0.97f,  0.25f}, {-0.76f, -0.65f}, {-0.66f,  0.75f},
              {-0.84f,  0.54f}, { 0.53f, -0.85f}, { 0.05f, -1.00f}, {-0.38f,  0.93f},
    /*  48 */ {-0.40f, -0.91f}, { 0.09f, -1.00f}, { 0.61f,  0.79f}, {-0.57f,  0.82f},
              { 0.45f,  0.89f}, {-0.85f,  0.53f}, { 1.00f,  0.06f}, {-0.75f,  0.66f},
    /*  56 */ { 0.88f,  0.48f}, { 0.99f,  0.17f}, {-0.38f,  0.93f}, {-0.15f,  0.99f},
              { 0.98f, -0.21f}, {-0.93f,  0.38f}, { 0.69f,  0.72f}, {-0.81f,  0.58f},
    /*  64 */ {-0.05f,  1.00f}, { 0.38f, -0.93f}, {-0.97f,  0.26f}, {-1.00f,  0.08f},
              { 0.99f, -0.16f}, { 0.21f, -0.98f}, { 0.23f,  0.97f}, { 0.78f,  0.63f},
    /*  72 */ {-0.96f, -0.27f}, { 0.49f, -0.87f}, { 0.43f, -0.90f}, {-0.87f, -0.50f},
              { 0.36f,  0.93f}, { 0.98f, -0.22f}, {-1.00f, -0.04f}, { 0.67f,  0.74f},
    /*  80 */ { 0.61f,  0.79f}, { 0.51f,  0.86f}, {-0.11f,  0.99f}, { 0.99f, -0.10f},
              { 0.94f, -0.34f}, { 0.19f,  0.98f}, { 0.79f,  0.61f}, {-0.38f, -0.92f},
    /*  88 */ { 0.43f, -0.90f}, {-0.90f, -0.44f}, { 0.99f,  0.12f}, {-0.98f,  0.20f},
              { 0.15f, -0.99f}, { 1.00f,  0.02f}, { 0.99f,  0.12f}, {-0.50f,  0.86f},
    /*  96 */ { 0.32f, -0.95f}, {-0.23f,  0.97f}, { 0.86f,  0.51f}, {-0.11f,  0.99f},
              { 0.83f, -0.55f}, { 0.68f, -0.73f}, { 0.13f,  0.99f}, {-0.17f,  0.99f},
    /* 104 */ { 0.85f,  0.53f}, {-0.34f,  0.94f}, {-0.95f,  0.32f}, {-0.65f,  0.76f},
              { 0.71f,  0.70f}, { 0.95f,  0.31f}, {-0.03f, -1.00f}, {-0.99f, -0.16f},
    /* 112 */ {-0.98f,  0.20f}, {-0.64f, -0.77f}, { 0.74f,  0.67f}, { 0.09f, -1.00f},
              { 0.72f, -0.69f}, {-0.34f,  0.94f}, {-0.56f,  0.83f}, { 0.88f,  0.48f},
    /* 120 */ { 0.62f,  0.78f}, { 0.96f,  0.30f}, { 0.68f, -0.73f}, { 0.01f,  1.00f},
              {-0.27f, -0.96f}, { 0.85f,  0.53f}, {-0.05f,  1.00f}, {-0.15f, -0.99f},
};
// clang-format on

namespace
{

constexpr PeriodicPhases make_periodic_phases() noexcept
{
    PeriodicPhases phases{};
    for (int k = 1; k < SPECTRUM_ROOM; k++) {
        phases.re[k] = phase_table[k - 1].re;
        phases.im[k] = phase_table[k - 1].im;
    }
    return phases;
}

} // namespace

constexpr PeriodicPhases periodic_phases = make_periodic_phases();

} // namespace talv::inline TALV_TABLES
#endif

namespace talv::inline TALV_TARGET
{

[[gnu::cold]] void noise_profile(int h, int cap, float rs, float *out) noexcept
{
    const NoiseCurve curve = noise_curve(rs);
    RelativeFrequency w = relative_frequency(h);
    out[0] = 0.0f;
    for (int k = 1; k <= h; k += LANES)
        store4(out + k, noise_at(curve, next_four(&w)));
    for (int k = h + 1; k <= cap; k++)
        out[k] = 0.0f;
}

[[gnu::cold]] void amp_profile(int count, const float *as, int h, int cap, float *out) noexcept
{
    out[0] = 0.0f;
    for (int k = 1 + count / LANES * LANES; k <= h; k += LANES)
        store4(out + k, Float4{1.0f, 1.0f, 1.0f, 1.0f});
    for (int k = 1; k <= count; k++)
        out[k] = as[k - 1];
    for (int k = h + 1; k <= cap; k++)
        out[k] = 0.0f;
}

namespace
{

/** The noise generator: seed = ((seed + 1) 17) mod 4096. i steps of it at once are 17^i seed + 17 + .. + 17^i, and
 *  since 4096 divides 2^16, 16 bits of the state are enough to find the steps after it.                             */
constexpr uint32_t SEED_FACTOR = 17;
constexpr uint32_t SEED_MASK = 4095;
constexpr int STEPS_AT_ONCE = 8;

struct SeedSteps {
    uint16_t factor[STEPS_AT_ONCE], offset[STEPS_AT_ONCE]; /* of 1 to 8 steps */
};

constexpr SeedSteps make_seed_steps() noexcept
{
    SeedSteps steps{};
    uint32_t factor = 1, offset = 0;
    for (int i = 0; i < STEPS_AT_ONCE; i++) {
        factor *= SEED_FACTOR;
        offset = (offset + 1) * SEED_FACTOR;
        steps.factor[i] = static_cast<uint16_t>(factor);
        steps.offset[i] = static_cast<uint16_t>(offset);
    }
    return steps;
}

constexpr SeedSteps seed_steps = make_seed_steps();

/** The states after 1 to 8 steps, not reduced to 12 bits */
TALV_INLINE Short8 states_after(uint32_t seed) noexcept
{
    const Short8 s = Short8{} + static_cast<uint16_t>(seed);
    return s * load8(seed_steps.factor) + load8(seed_steps.offset);
}

/** The phases that states draw */
TALV_INLINE Short8 draws(Short8 states) noexcept
{
    return (states & static_cast<uint16_t>(SEED_MASK)) >> 5;
}

} // namespace

void draw_phases(uint32_t *seed, int h, uint16_t *draw) noexcept
{
    constexpr int LAST = STEPS_AT_ONCE - 1;
    Short8 states = states_after(*seed);
    store8(draw, draws(states));
    for (int k = STEPS_AT_ONCE; k < h; k += STEPS_AT_ONCE) {
        states = states * (Short8{} + seed_steps.factor[LAST]) + seed_steps.offset[LAST];
        store8(draw + k, draws(states));
    }
    uint16_t last[STEPS_AT_ONCE];
    store8(last, states);
    *seed = last[(h - 1) % STEPS_AT_ONCE] & SEED_MASK;
}

[[gnu::cold]] void mix_excitation(uint32_t *seed, int h, const float *amp, const float *noise, Spectrum *out) noexcept
{
    uint16_t draw[DRAWS];
    draw_phases(seed, h, draw);
    out->re[0] = out->im[0] = 0.0f;
    for (int k = 1; k <= h; k += LANES) {
        const Bins bins = mix_four(k, load4(amp + k), load4(noise + k), draw + k - 1);
        store4(out->re + k, bins.re);
        store4(out->im + k, bins.im);
    }
}

} // namespace talv::inline TALV_TARGET

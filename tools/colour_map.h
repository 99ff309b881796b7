/** Level to colour: from night blue over red to pale yellow
 *
 *  Luminance rises evenly, so that the picture reads the same in grey and to the colour-blind.
 */
#ifndef TALV_TOOLS_COLOUR_MAP_H
#define TALV_TOOLS_COLOUR_MAP_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace talv
{

/** level 0..1, clamped; returns 0xRRGGBB */
inline uint32_t colour_of(double level)
{
    // clang-format off
    static constexpr std::array<std::array<double, 3>, 7> STOPS{{
        {  9,   9,  26}, { 48,  22,  92}, {123,  34, 108}, {198,  62,  80},
        {238, 124,  58}, {250, 194,  96}, {255, 250, 214}}};
    // clang-format on
    const double at = std::clamp(level, 0.0, 1.0) * (STOPS.size() - 1);
    const size_t i = std::min(static_cast<size_t>(at), STOPS.size() - 2);
    uint32_t colour = 0;
    for (size_t c = 0; c < 3; c++)
        colour = colour << 8 | static_cast<uint32_t>(
                                   std::lround(std::lerp(STOPS[i][c], STOPS[i + 1][c], at - static_cast<double>(i))));
    return colour;
}

} // namespace talv

#endif

#include "plot.h"

#include "canvas.h"
#include "colour_map.h"
#include "spectrogram.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <talvcodec.h>

namespace talv
{
namespace
{

/* Sizes in pixels, for a picture that is shown at half of them. */
constexpr int WIDTH = 1800, LEFT = 140, RIGHT = 170, TOP = 84, BOTTOM = 92;
constexpr int LABEL = 50, WAVE = 150, GAP = 12, SPECTRUM = 380, TRACK = LABEL + WAVE + GAP + SPECTRUM, APART = 22;
constexpr int PANELS = 4, PANEL = 150, PANEL_APART = 34;
constexpr int COLUMNS = WIDTH - LEFT - RIGHT;
constexpr double TITLE_SIZE = 36, NAME_SIZE = 27, TICK_SIZE = 24, TICK = 8;
constexpr uint32_t INK = 0x20242c, SOFT = 0x8a919c, GRID = 0xe4e7eb;
constexpr uint32_t WAVE_COLOURS[] = {0x2b5c9e, 0xb5482a};
constexpr uint32_t TRACK_COLOUR = 0x37474f; /* what was sent is neither the one recording nor the other */

constexpr double RANGE_DB = 70;
constexpr double RATE = TALV_SAMPLE_RATE;

struct Scale {
    double from_s, to_s; /* of the time axis                                        */
    double peak;         /* of the waveforms, as a fraction of full scale           */
    double top_db;       /* of the spectrograms                                     */

    double x(double t) const { return LEFT + (t - from_s) / (to_s - from_s) * COLUMNS; }
};

std::string number(double value, int decimals)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, value == 0 ? 0.0 : value); /* no "-0" */
    return text;
}

/* The step of 1, 2 or 5 times a power of ten that gives at most n ticks. */
double tick_step(double range, int n)
{
    const double power = std::pow(10, std::floor(std::log10(range / n)));
    for (double step : {1, 2, 5})
        if (range / (step * power) <= n)
            return step * power;
    return 10 * power;
}

void draw_time_axis(Canvas &canvas, const Scale &scale, const Rect &box, bool labels)
{
    const double step = tick_step(scale.to_s - scale.from_s, 12);
    const int decimals = std::max(0, static_cast<int>(std::ceil(-std::log10(step) - 1e-9)));
    for (double k = std::ceil(scale.from_s / step - 1e-9); k * step <= scale.to_s + 1e-9; k++) {
        const double x = std::round(scale.x(k * step)) + 0.5;
        canvas.line(x, box.bottom() + 1, x, box.bottom() + 1 + TICK, SOFT, 1);
        if (labels)
            canvas.text(x, box.bottom() + 30, number(k * step, decimals), TICK_SIZE, Align::middle, INK);
    }
    if (labels)
        canvas.text(box.x + box.width / 2, box.bottom() + 66, "time, s", TICK_SIZE, Align::middle, INK);
}

/* A column of the picture shows the least and the greatest sample of its stretch, or, when samples lie further apart
 * than pixels, the curve through them. */
void draw_waveform(Canvas &canvas, const Scale &scale, const Rect &box, const std::vector<int16_t> &x, uint32_t colour)
{
    const double middle = box.y + box.height / 2;
    const auto y = [&](double sample) { return middle - sample / 32768 / scale.peak * box.height / 2; };
    canvas.line(box.x, middle, box.right(), middle, GRID, 2);
    const auto count = static_cast<int64_t>(x.size());
    const double per_column = (scale.to_s - scale.from_s) * RATE / COLUMNS;
    std::vector<double> px, py;
    if (per_column < 2) {
        const auto first = std::max<int64_t>(0, static_cast<int64_t>(std::ceil(scale.from_s * RATE)));
        const auto end = std::min<int64_t>(count, static_cast<int64_t>(std::floor(scale.to_s * RATE)) + 1);
        for (int64_t i = first; i < end; i++) {
            px.push_back(scale.x(static_cast<double>(i) / RATE));
            py.push_back(y(x[static_cast<size_t>(i)]));
        }
    }
    for (int c = 0; per_column >= 2 && c < COLUMNS; c++) {
        const auto first = static_cast<int64_t>(scale.from_s * RATE + per_column * c);
        const auto end = std::min(count, static_cast<int64_t>(scale.from_s * RATE + per_column * (c + 1)) + 1);
        if (first >= end)
            break;
        const auto [low, high] = std::minmax_element(x.begin() + first, x.begin() + end);
        const bool low_first = c % 2 == 0; /* the curve then goes on from where the column before ended */
        for (int k = 0; k < 2; k++) {
            px.push_back(box.x + c + 0.5);
            py.push_back(y((k == 0) == low_first ? *low : *high));
        }
    }
    canvas.polyline(px, py, colour, 1.5);
    canvas.text_upward(box.x - 100, middle, "amplitude", TICK_SIZE, INK);
    canvas.frame(box, SOFT);
    for (int side : {1, 0, -1}) {
        const double at = middle - side * box.height / 2;
        canvas.line(box.x - 1 - TICK, at, box.x - 1, at, SOFT, 1);
        const double inward = side * (TICK_SIZE / 2 - 2); /* the two at the edges stay beside their own box */
        canvas.text(box.x - 16, at + inward, number(side * scale.peak, scale.peak < 0.1 ? 2 : 1), TICK_SIZE,
                    Align::right, INK);
    }
}

void draw_spectrogram(Canvas &canvas, const Scale &scale, const Rect &box, const Spectrogram &s)
{
    std::vector<uint32_t> pixels(static_cast<size_t>(COLUMNS) * SPECTRUM);
    for (int row = 0; row < SPECTRUM; row++) {
        const double bin = (1 - (row + 0.5) / SPECTRUM) * (SPECTRUM_BINS - 1);
        const int below = static_cast<int>(bin);
        for (int c = 0; c < COLUMNS; c++) {
            const double db =
                static_cast<double>(std::lerp(s.at(c, below), s.at(c, below + 1), static_cast<float>(bin - below)));
            pixels[static_cast<size_t>(row) * COLUMNS + static_cast<size_t>(c)] =
                colour_of(1 + (db - scale.top_db) / RANGE_DB);
        }
    }
    canvas.image(LEFT, static_cast<int>(box.y), pixels, COLUMNS, SPECTRUM);
    canvas.frame(box, SOFT);
    for (int khz = 0; khz <= 4; khz++) {
        const double at = box.bottom() - box.height * khz / 4;
        canvas.line(box.x - 1 - TICK, at, box.x - 1, at, SOFT, 1);
        const double inward = khz == 4 ? TICK_SIZE / 2 - 2 : khz == 0 ? 2 - TICK_SIZE / 2 : 0;
        canvas.text(box.x - 16, at + inward, number(khz, 0), TICK_SIZE, Align::right, INK);
    }
    canvas.text_upward(box.x - 100, box.y + box.height / 2, "frequency, kHz", TICK_SIZE, INK);
}

/* The scale of the spectrograms, beside one of them. */
void draw_levels(Canvas &canvas, const Scale &scale, const Rect &beside)
{
    const Rect bar{beside.right() + 30, beside.y, 26, beside.height};
    for (int row = 0; row < SPECTRUM; row++)
        canvas.fill({bar.x, bar.y + row, bar.width, 1}, colour_of(1 - (row + 0.5) / SPECTRUM));
    canvas.frame(bar, SOFT);
    // NOLINTNEXTLINE(clang-analyzer-security.FloatLoopCounter): whole numbers
    for (double down = 0; down <= RANGE_DB; down += 10) {
        const double at = bar.y + bar.height * down / RANGE_DB;
        canvas.line(bar.right() + 1, at, bar.right() + 1 + TICK, at, SOFT, 1);
        const double inward = down == 0 ? TICK_SIZE / 2 - 2 : down == RANGE_DB ? 2 - TICK_SIZE / 2 : 0;
        canvas.text(bar.right() + 66, at + inward, number(scale.top_db - down, 0), TICK_SIZE, Align::right, INK);
    }
    canvas.text_upward(bar.right() + 92, bar.y + bar.height / 2, "level, dB of full scale", TICK_SIZE, INK);
}

/* A small panel for one parameter: its box and range */
struct Panel {
    Rect box;
    double low, high;

    double y(double value) const
    {
        return box.bottom() - (std::clamp(value, low, high) - low) / (high - low) * box.height;
    }
};

Panel draw_panel(Canvas &canvas, const Rect &box, const std::string &name, double low, double high, double step,
                 int decimals)
{
    const Panel panel{box, low, high};
    canvas.fill(box, 0xffffff);
    // NOLINTNEXTLINE(clang-analyzer-security.FloatLoopCounter): a few steps, and the end has a margin
    for (double v = low; v <= high + 1e-9; v += step) {
        const double at = std::round(panel.y(v)) + 0.5;
        if (v > low && v < high - 1e-9)
            canvas.line(box.x, at, box.right(), at, GRID, 1);
        canvas.line(box.x - 1 - TICK, at, box.x - 1, at, SOFT, 1);
        canvas.text(box.x - 16, at, number(v, decimals), TICK_SIZE, Align::right, INK);
    }
    canvas.text_upward(box.x - 100, box.y + box.height / 2, name, TICK_SIZE, INK);
    canvas.frame(box, SOFT);
    return panel;
}

/* What the frames say, each value at the time it describes: the pitch at the end of the frame, the voicing in the
 * middle of its halves, the gains at the ends of its quarters, the LSFs at its end. */
void draw_tracks(Canvas &canvas, const Scale &scale, const CodedTrack &coded, double top)
{
    constexpr double N = TALV_FRAME_SAMPLES;
    constexpr double VOICED = 0.5;
    Rect box{LEFT, top, COLUMNS, PANEL};
    const auto next = [&box] {
        const Rect now = box;
        box.y += PANEL + PANEL_APART;
        return now;
    };
    const Panel pitch = draw_panel(canvas, next(), "pitch, Hz", 0, 400, 100, 0);
    const Panel voicing = draw_panel(canvas, next(), "voicing", 0, 1, 0.5, 1);
    const Panel gain = draw_panel(canvas, next(), "gain, dBov", -80, 0, 20, 0);
    const Panel lsf = draw_panel(canvas, next(), "LSF, kHz", 0, 4, 1, 0);

    std::vector<double> vx, vy, gx, gy, lx;
    std::vector<std::vector<double>> ly(10);
    const double radius = std::clamp(COLUMNS / ((scale.to_s - scale.from_s) * RATE / N) / 3, 1.0, 4.0);
    for (const CodedTrack::Frame &frame : coded.frames) {
        const auto x = [&](double offset) { return scale.x((static_cast<double>(frame.at) + offset) / RATE); };
        if (x(0) < LEFT || x(N) > LEFT + COLUMNS)
            continue;
        if (frame.lost) {
            canvas.fill({x(0), pitch.box.y, x(N) - x(0), pitch.box.height}, 0xf0c8c0);
            continue;
        }
        const TALV_FrameSound &s = frame.sound;
        if ((s.voicing[0] + s.voicing[1]) / 2 >= static_cast<float>(VOICED))
            canvas.dot(x(N), pitch.y(static_cast<double>(s.pitch_hz)), radius, TRACK_COLOUR);
        for (int i = 0; i < 2; i++) {
            vx.push_back(x(N * (1 + 2 * i) / 4));
            vy.push_back(voicing.y(static_cast<double>(s.voicing[i])));
        }
        for (int i = 0; i < 4; i++) {
            gx.push_back(x(N * (i + 1) / 4));
            gy.push_back(gain.y(20 * std::log10(static_cast<double>(s.rms[i]) / 32768 + 1e-9)));
        }
        lx.push_back(x(N));
        for (size_t k = 0; k < ly.size(); k++)
            ly[k].push_back(lsf.y(static_cast<double>(s.lsf_hz[k]) / 1000));
    }
    canvas.polyline(vx, vy, TRACK_COLOUR, 2);
    canvas.polyline(gx, gy, TRACK_COLOUR, 2);
    for (const std::vector<double> &y : ly)
        canvas.polyline(lx, y, TRACK_COLOUR, 1.5);
    draw_time_axis(canvas, scale, lsf.box, true);
}

/* Common to all tracks: the loudest decides. */
Scale choose_scale(const std::vector<PlotTrack> &tracks, const std::vector<Spectrogram> &spectra, double from_s,
                   double to_s)
{
    int peak = 1;
    float top_db = SPECTRUM_FLOOR_DB;
    for (const PlotTrack &track : tracks) {
        const auto count = static_cast<double>(track.x.size());
        const auto first = static_cast<size_t>(std::clamp(from_s * RATE, 0.0, count));
        const auto end = static_cast<size_t>(std::clamp(to_s * RATE, 0.0, count));
        for (size_t i = first; i < end; i++)
            peak = std::max(peak, std::abs(int{track.x[i]}));
    }
    for (const Spectrogram &s : spectra)
        top_db = std::max(top_db, *std::max_element(s.level_db.begin(), s.level_db.end()));
    const double unit = peak < 3276 ? 0.01 : 0.1;
    return {from_s, to_s, std::ceil(peak / 32768.0 / unit) * unit,
            static_cast<double>(std::ceil(std::clamp(top_db, -60.0f, 0.0f) / 10) * 10)};
}

} // namespace

std::vector<uint8_t> draw_plot(bool svg, const std::string &title, const std::vector<PlotTrack> &tracks,
                               const CodedTrack &coded, double from_s, double to_s)
{
    const int count = static_cast<int>(tracks.size());
    std::vector<Spectrogram> spectra;
    spectra.reserve(tracks.size());
    for (const PlotTrack &track : tracks)
        spectra.push_back(spectrogram(track.x.data(), track.x.size(), from_s * RATE, to_s * RATE, COLUMNS));
    const Scale scale = choose_scale(tracks, spectra, from_s, to_s);

    const bool panels = !coded.frames.empty();
    const int below = panels ? APART + PANELS * (PANEL + PANEL_APART) - PANEL_APART : 0;
    Canvas canvas(svg ? Canvas::Kind::svg : Canvas::Kind::png, WIDTH,
                  TOP + count * TRACK + (count - 1) * APART + below + BOTTOM);
    canvas.text(LEFT, TOP / 2.0 + 6, title, TITLE_SIZE, Align::left, INK, true);
    for (int k = 0; k < count; k++) {
        const PlotTrack &track = tracks[static_cast<size_t>(k)];
        const double top = TOP + k * (TRACK + APART);
        const Rect wave{LEFT, top + LABEL, COLUMNS, WAVE};
        const Rect spectrum{LEFT, wave.bottom() + GAP, COLUMNS, SPECTRUM};
        const uint32_t colour = WAVE_COLOURS[track.letter == "B" ? 1 : 0];
        canvas.text(LEFT, top + LABEL / 2.0, track.letter, NAME_SIZE, Align::left, colour, true);
        canvas.text(LEFT + 36, top + LABEL / 2.0, track.name, NAME_SIZE, Align::left, INK);
        draw_waveform(canvas, scale, wave, track.x, colour);
        draw_spectrogram(canvas, scale, spectrum, spectra[static_cast<size_t>(k)]);
        draw_levels(canvas, scale, spectrum);
        draw_time_axis(canvas, scale, spectrum, k == count - 1 && !panels);
    }
    if (panels)
        draw_tracks(canvas, scale, coded, TOP + count * TRACK + count * APART);
    return canvas.finish();
}

} // namespace talv

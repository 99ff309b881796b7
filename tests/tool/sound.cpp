#include "sound.h"

#include "spectrogram.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <sndfile.h>
#include <stdexcept>

namespace talv_test
{

std::string sample(const std::string &name)
{
    return std::string(TALV_SAMPLES_DIR) + "/" + name + ".wav";
}

const std::vector<std::string> &sample_names()
{
    static const std::vector<std::string> names{"en_f_lj",          "en_m_jfk",      "en_m_libri",
                                                "en_f_libri",       "it_m_asterisk", "ru_f_asterisk",
                                                "en_child_f_so762", "zh_f_gcin",     "en_meeting_ami"};
    return names;
}

Pcm read_pcm(const std::string &path)
{
    SF_INFO info{};
    SNDFILE *file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file || info.samplerate != 8000 || info.channels != 1) {
        sf_close(file);
        throw std::runtime_error(path + ": not 8 kHz mono sound");
    }
    Pcm x(static_cast<size_t>(info.frames));
    const sf_count_t got = sf_readf_short(file, x.data(), info.frames);
    sf_close(file);
    if (got != info.frames)
        throw std::runtime_error(path + ": cut short");
    return x;
}

void write_sound(const std::string &path, int format, int rate_hz, int channels, const std::vector<double> &x)
{
    SF_INFO info{};
    info.format = format;
    info.samplerate = rate_hz;
    info.channels = channels;
    SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
    const auto n = static_cast<sf_count_t>(x.size());
    if (!file || sf_write_double(file, x.data(), n) != n || sf_close(file) != 0)
        throw std::runtime_error(path + ": cannot be written");
}

void write_pcm(const std::string &path, int format, const Pcm &x)
{
    std::vector<double> y;
    for (const int16_t v : x)
        y.push_back(v / 32768.0);
    write_sound(path, format, 8000, 1, y);
}

std::string bytes_of(const Pcm &x)
{
    std::string bytes;
    for (const int16_t v : x) {
        bytes.push_back(static_cast<char>(v & 255));
        bytes.push_back(static_cast<char>(v >> 8));
    }
    return bytes;
}

Pcm pcm_of(const std::string &bytes)
{
    Pcm x;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        x.push_back(static_cast<int16_t>(static_cast<uint8_t>(bytes[i]) | static_cast<uint8_t>(bytes[i + 1]) << 8));
    return x;
}

Pcm tone(double hz, double amplitude, size_t n)
{
    Pcm x;
    for (size_t i = 0; i < n; i++)
        x.push_back(static_cast<int16_t>(
            std::lrint(amplitude * std::sin(2 * std::numbers::pi * hz * static_cast<double>(i) / 8000))));
    return x;
}

namespace
{

constexpr int HOP = 16, BANDS = 15, BAND_BINS = 16;
using Shape = std::array<double, BANDS>;

std::vector<Shape> spectral_shapes(const Pcm &x, int count)
{
    const talv::Spectrogram s = talv::spectrogram(x.data(), x.size(), 0, count * HOP, count);
    std::vector<Shape> shapes(static_cast<size_t>(count));
    Shape over_time{};
    for (int c = 0; c < count; c++) {
        Shape &shape = shapes[static_cast<size_t>(c)];
        for (size_t b = 0; b < BANDS; b++) {
            double power = 1e-7; /* -70 dB: below it is the noise of the recording */
            for (int k = 0; k < BAND_BINS; k++)
                power += std::pow(10, s.at(c, static_cast<int>(b) * BAND_BINS + 4 + k) / 10);
            shape[b] = 10 * std::log10(power);
        }
        const double mean = std::accumulate(shape.begin(), shape.end(), 0.0) / BANDS;
        for (size_t b = 0; b < BANDS; b++) {
            shape[b] -= mean;
            over_time[b] += shape[b] / count;
        }
    }
    for (Shape &shape : shapes)
        for (size_t b = 0; b < BANDS; b++)
            shape[b] -= over_time[b];
    return shapes;
}

} // namespace

int spectral_lag(const Pcm &x, const Pcm &y, int lag_max)
{
    const int count = static_cast<int>(x.size()) / HOP;
    const auto a = spectral_shapes(x, count), b = spectral_shapes(y, count);
    int best_lag = 0;
    double best = -1e300;
    for (int lag = -lag_max / HOP; lag <= lag_max / HOP; lag++) {
        double sum = 0;
        for (int i = std::max(0, -lag); i < std::min(count, count - lag); i++)
            for (size_t k = 0; k < BANDS; k++)
                sum += a[static_cast<size_t>(i)][k] * b[static_cast<size_t>(i + lag)][k];
        if (sum > best) {
            best = sum;
            best_lag = lag * HOP;
        }
    }
    return best_lag;
}

double rms(const Pcm &x)
{
    double sum = 0;
    for (const int16_t v : x)
        sum += static_cast<double>(v) * v;
    return std::sqrt(sum / static_cast<double>(x.size()));
}

} // namespace talv_test

/* The picture: right in its numbers, and a picture at all */
#include "colour_map.h"
#include "process.h"
#include "sound.h"
#include "spectrogram.h"

#include <cairo.h>
#include <cmath>
#include <gtest/gtest.h>
#include <sndfile.h>

using namespace talv_test;

namespace
{

/* The rows of a PNG at one column, as 0xRRGGBB */
struct Picture {
    int width = 0, height = 0;
    std::vector<uint32_t> pixels;
    uint32_t at(int x, int y) const { return pixels[static_cast<size_t>(y * width + x)]; }
};

Picture read_picture(const std::string &path)
{
    cairo_surface_t *surface = cairo_image_surface_create_from_png(path.c_str());
    EXPECT_EQ(cairo_surface_status(surface), CAIRO_STATUS_SUCCESS) << path;
    Picture p;
    p.width = cairo_image_surface_get_width(surface);
    p.height = cairo_image_surface_get_height(surface);
    for (int y = 0; y < p.height; y++) {
        const unsigned char *row = cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
        for (int x = 0; x < p.width; x++)
            p.pixels.push_back(static_cast<uint32_t>(row[4 * x + 2] << 16 | row[4 * x + 1] << 8 | row[4 * x]));
    }
    cairo_surface_destroy(surface);
    return p;
}

double luminance(uint32_t colour)
{
    return 0.2126 * (colour >> 16) + 0.7152 * (colour >> 8 & 255) + 0.0722 * (colour & 255);
}

/* Frequency of the brightest row of each spectrogram, read off column x. A spectrogram is a run of more than 300 rows
 * of which none is white. */
std::vector<double> peaks_hz(const Picture &p, int x)
{
    std::vector<double> found;
    for (int y = 0, start = -1; y < p.height; y++) {
        const bool blank = p.at(x, y) == 0xffffff;
        if (!blank && start < 0)
            start = y;
        if (!blank || start < 0)
            continue;
        const int first = start + 1, last = y - 2; /* inside the frame */
        start = -1;
        if (last - first < 300)
            continue;
        int brightest = first;
        for (int row = first; row <= last; row++)
            if (luminance(p.at(x, row)) > luminance(p.at(x, brightest)))
                brightest = row;
        found.push_back(4000 * (1 - (brightest - first + 0.5) / (last - first + 1)));
    }
    return found;
}

} // namespace

TEST(Plot, SpectrogramShowsLevelFrequencyAndTime)
{
    /* A sine of half of full scale is at -6.02 dB in its own bin, narrow columns or wide. */
    const Pcm x = tone(1000, 16384, 16000);
    for (int columns : {10, 1000}) {
        const auto s = talv::spectrogram(x.data(), x.size(), 0, 16000, columns);
        const int middle = columns / 2;
        EXPECT_NEAR(s.at(middle, 64), -6.02, 0.05);
        EXPECT_LT(s.at(middle, 64 + 16), -100) << "leakage 250 Hz away";
        EXPECT_LT(s.at(middle, 64 - 16), -100);
    }
    Pcm click(8000, 0);
    click[4000] = 30000;
    const auto s = talv::spectrogram(click.data(), click.size(), -8000, 16000, 480); /* 50 samples a column */
    for (int c = 0; c < 480; c++) {
        const int away = std::abs(50 * c + 25 - 12000);
        if (away < talv::SPECTRUM_WINDOW / 2 - 10) {
            EXPECT_GT(s.at(c, 100), -120) << "column " << c;
        } else if (away > talv::SPECTRUM_WINDOW / 2 + 10) {
            EXPECT_EQ(s.at(c, 100), talv::SPECTRUM_FLOOR_DB) << "column " << c;
        }
    }
}

TEST(Plot, BrighterIsLouder)
{
    double before = -1;
    for (int i = 0; i <= 100; i++) {
        const double now = luminance(talv::colour_of(i / 100.0));
        EXPECT_GT(now, before) << "level " << i / 100.0;
        before = now;
    }
    EXPECT_EQ(talv::colour_of(-3), talv::colour_of(0));
    EXPECT_EQ(talv::colour_of(7), talv::colour_of(1));
}

TEST(Plot, PictureShowsBothRecordings)
{
    Folder folder;
    write_pcm(folder / "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, tone(1000, 8000, 8000));
    write_pcm(folder / "b.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, tone(3000, 8000, 8000));
    const Outcome got = run({"plot", folder / "a.wav", folder / "b.flac", folder / "c.png"});
    ASSERT_EQ(got.status, 0) << got.err;
    const Picture p = read_picture(folder / "c.png");
    const auto peaks = peaks_hz(p, p.width / 2);
    ASSERT_EQ(peaks.size(), 2u);
    EXPECT_NEAR(peaks[0], 1000, 15);
    EXPECT_NEAR(peaks[1], 3000, 15);
}

TEST(Plot, CodedFileIsDrawnAsItsDecodedSpeech)
{
    Folder folder;
    const std::string speech = sample("en_child_f_so762");
    ASSERT_EQ(run({"encode", "--bare", "-q", speech, folder / "x.frames"}).status, 0);
    ASSERT_EQ(run({"decode", "-q", folder / "x.frames", folder / "x.wav"}).status, 0);
    ASSERT_EQ(run({"plot", speech, folder / "x.frames", folder / "a.png", "--from", "0.5", "--to", "1.5"}).status, 0);
    ASSERT_EQ(run({"plot", speech, folder / "x.wav", folder / "b.png", "--from", "0.5", "--to", "1.5"}).status, 0);
    const Picture a = read_picture(folder / "a.png"), b = read_picture(folder / "b.png");
    ASSERT_EQ(a.width, b.width);
    EXPECT_GT(a.height, b.height + 400) << "the tracks of the coded file lie below";
    size_t unlike = 0;
    for (size_t i = 0; i < static_cast<size_t>(b.width * (b.height - 104)); i++) /* down to the time axis */
        unlike += a.pixels[i] != b.pixels[i];
    EXPECT_GT(unlike, 0u) << "the names differ";
    EXPECT_LT(unlike, 2000u) << "and nothing but the names";
}

TEST(Plot, TracksShowPitchOverTime)
{
    /* Frames of one steady voice of 100 Hz, made by hand: the pitch panel, 0 to 400 Hz, has its dots at a quarter of
     * its height and nowhere else. */
    Folder folder;
    std::string csv = "pitch,lsf0,lsf1,lsf2,lsf3,lsf4,lsf5,lsf6,lsf7,lsf8,lsf9,gain0,gain1,rs,as\n";
    for (int i = 0; i < 60; i++)
        csv += "60,8,10,3,1,3,2,2,3,1,1,26,29,0,0\n";
    write_file(folder / "x.csv", csv);
    ASSERT_EQ(run({"frames", folder / "x.csv", folder / "x.talv"}).status, 0);
    ASSERT_EQ(run({"plot", folder / "x.talv", folder / "x.png"}).status, 0);
    const Picture p = read_picture(folder / "x.png");
    const int bottom = p.height - 92, panel = 150, apart = 34;
    const int low = bottom - 3 * (panel + apart), high = low - panel;
    std::vector<int> rows;
    for (int y = high + 2; y < low - 2; y++)
        for (int x = 300; x < 1500; x++)
            if (p.at(x, y) == 0x37474f)
                rows.push_back(y);
    ASSERT_FALSE(rows.empty());
    EXPECT_NEAR(rows.front(), low - panel / 4, 5);
    EXPECT_NEAR(rows.back(), low - panel / 4, 5);

    ASSERT_EQ(run({"plot", folder / "x.talv", folder / "x.svg"}).status, 0);
    const std::string svg = read_file(folder / "x.svg");
    EXPECT_NE(svg.find("<svg"), std::string::npos);
    EXPECT_NE(svg.find("</svg>"), std::string::npos);
}

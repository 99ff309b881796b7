/* The container: exact lengths, little overhead, and damage that is noticed, skipped and kept in time */
#include "process.h"
#include "sound.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <initializer_list>
#include <random>
#include <sndfile.h>

using namespace talv_test;

namespace
{

uint32_t le32(const std::string &s, size_t at)
{
    uint32_t v = 0;
    for (size_t i = 0; i < 4; i++)
        v |= static_cast<uint32_t>(static_cast<uint8_t>(s[at + i])) << 8 * i;
    return v;
}

/* Offsets of the pages, by their headers alone; the last element is the end */
std::vector<size_t> pages_of(const std::string &ogg)
{
    std::vector<size_t> at;
    size_t i = 0;
    while (i + 27 <= ogg.size() && ogg.compare(i, 4, "OggS") == 0) {
        at.push_back(i);
        const size_t segments = static_cast<uint8_t>(ogg[i + 26]);
        size_t length = 27 + segments;
        for (size_t k = 0; k < segments && i + 27 + k < ogg.size(); k++)
            length += static_cast<uint8_t>(ogg[i + 27 + k]);
        i += length;
    }
    at.push_back(i);
    return at;
}

/* The checksum of RFC 3533: polynomial 0x04c11db7, bits from the top, its own field taken as 0 */
uint32_t checksum(std::string page)
{
    page.replace(22, 4, 4, '\0');
    uint32_t crc = 0;
    for (const char c : page) {
        crc ^= static_cast<uint32_t>(static_cast<uint8_t>(c)) << 24;
        for (int i = 0; i < 8; i++)
            crc = crc & 0x80000000u ? crc << 1 ^ 0x04c11db7u : crc << 1;
    }
    return crc;
}

/* The page with its own checksum */
std::string mended(std::string page)
{
    const uint32_t crc = checksum(page);
    for (size_t i = 0; i < 4; i++)
        page[22 + i] = static_cast<char>(crc >> 8 * i);
    return page;
}

std::string encoded(const Pcm &x, const Args &more = {})
{
    Args args{"encode", "-q", "--raw"};
    args.insert(args.end(), more.begin(), more.end());
    args.insert(args.end(), {"-", "-"});
    return run(args, bytes_of(x)).out;
}

Pcm decoded(const std::string &coded)
{
    return pcm_of(run({"decode", "-q", "--raw", "-", "-"}, coded).out);
}

Pcm speech()
{
    return read_pcm(sample("en_m_jfk"));
}

} // namespace

TEST(Ogg, DecodingGivesExactlyTheSamplesThatWentIn)
{
    const Pcm x = speech();
    const Pcm all = decoded(encoded(x));
    ASSERT_EQ(all.size(), x.size());
    EXPECT_LE(std::abs(spectral_lag(x, all, 720)), 32);
    Folder folder;
    for (const size_t n :
         std::initializer_list<size_t>{0, 1, 239, 240, 241, 479, 480, 481, 14879, 14880, 14881, 24001}) {
        const Pcm cut(x.begin(), x.begin() + static_cast<int>(n));
        for (const char *page : {"1", "31", "496"})
            EXPECT_EQ(decoded(encoded(cut, {"--page-frames", page})).size(), n) << "frames a page: " << page;
        write_pcm(folder / "x.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, cut);
        ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
        ASSERT_EQ(run({"decode", "-q", folder / "x.talv", folder / "y.wav"}).status, 0) << n;
        const Pcm y = read_pcm(folder / "y.wav");
        ASSERT_EQ(y.size(), n);
        const size_t sure = n / 240 < 2 ? 0 : 240 * (n / 240 - 2); /* the last two frames look ahead */
        EXPECT_EQ(Pcm(y.begin(), y.begin() + static_cast<int>(sure)),
                  Pcm(all.begin(), all.begin() + static_cast<int>(sure)));
    }
}

TEST(Ogg, PagesAreAsWrittenDown)
{
    const Pcm x = speech();
    const std::string ogg = encoded(x, {"--page-frames", "31"});
    const auto at = pages_of(ogg);
    ASSERT_EQ(at.back(), ogg.size());
    const size_t count = at.size() - 1, frames = (x.size() + 239) / 240 + 2;
    ASSERT_EQ(count, 2 + (frames + 30) / 31);
    for (size_t p = 0; p < count; p++) {
        const std::string page = ogg.substr(at[p], at[p + 1] - at[p]);
        EXPECT_EQ(le32(page, 22), checksum(page)) << "page " << p;
        EXPECT_EQ(le32(page, 18), p);
        EXPECT_EQ(page[5], p == 0 ? 2 : p == count - 1 ? 4 : 0) << "page " << p;
        const size_t end = p < 2 ? 0 : p == count - 1 ? 480 + x.size() : 240 * 31 * (p - 1);
        EXPECT_EQ(le32(page, 6), end) << "granule position of page " << p;
    }
    const std::string head = ogg.substr(28, 20);
    EXPECT_EQ(head, std::string("TalvHead\1\10\360\0\340\1\100\37\0\0\0\0", 20));
    EXPECT_EQ(ogg.substr(at[1] + 28, 8), "TalvTags");
}

TEST(Ogg, FilesCostLessThanTwoInAHundredAndPipesWaitForNothing)
{
    Folder folder;
    Pcm minute;
    while (minute.size() < 8000 * 90)
        for (const int16_t v : speech())
            minute.push_back(v);
    write_pcm(folder / "x.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, minute);
    ASSERT_EQ(run({"encode", "-q", folder / "x.wav", folder / "x.talv"}).status, 0);
    const double frames = std::ceil(static_cast<double>(minute.size()) / 240) + 2;
    EXPECT_LT(static_cast<double>(read_file(folder / "x.talv").size()), 1.02 * 8 * frames);
    ASSERT_EQ(run({"decode", "-q", folder / "x.talv", folder / "y.wav"}).status, 0);
    const Pcm y = read_pcm(folder / "y.wav");
    ASSERT_EQ(y.size(), minute.size());
    EXPECT_LE(std::abs(spectral_lag(Pcm(minute.end() - 40000, minute.end()), Pcm(y.end() - 40000, y.end()), 720)), 32)
        << "the end stays in time";

    Process encoder({"encode", "-q", "--raw", "-", "-"});
    const Pcm x = speech();
    const std::string whole = encoded(x);
    const auto at = pages_of(whole);
    encoder.feed(bytes_of(Pcm(x.begin(), x.begin() + 2400)));
    EXPECT_EQ(encoder.expect(at[12]).size(), at[12]) << "10 blocks in: 10 pages of a frame out";
    Process decoder({"decode", "-q", "--raw", "-", "-"});
    decoder.feed(whole.substr(0, at[12]));
    EXPECT_EQ(decoder.expect(8 * 480).size(), 8u * 480) << "10 frames in: all but the pre-skip out";
}

TEST(Ogg, ADamagedPageIsSkippedReportedAndKeptInTime)
{
    const Pcm x = speech();
    const std::string ogg = encoded(x, {"--page-frames", "20"});
    const Pcm whole = decoded(ogg);
    const auto at = pages_of(ogg);
    Folder folder;
    const size_t page = 5; /* frames 60 to 79, samples 13920 to 18719 */
    struct Case {
        const char *what;
        size_t offset;
    };
    for (const Case &c : {Case{"body", 60}, Case{"granule position", 7}, Case{"checksum", 22},
                          Case{"capture pattern", 0}, Case{"lacing", 27}, Case{"number of segments", 26}}) {
        SCOPED_TRACE(c.what);
        std::string bad = ogg;
        bad[at[page] + c.offset] = static_cast<char>(bad[at[page] + c.offset] ^ 0x55);
        write_file(folder / "x.talv", bad);
        const Outcome got = run({"decode", "-q", folder / "x.talv", folder / "y.wav"});
        EXPECT_EQ(got.status, 7);
        EXPECT_EQ(got.err, "talv: " + (folder / "x.talv") +
                               ": 1 damaged place: " + std::to_string(at[page + 1] - at[page]) +
                               " bytes passed over, 20 frames lost; the rest is decoded, in its time\n");
        const Pcm y = read_pcm(folder / "y.wav");
        ASSERT_EQ(y.size(), x.size());
        EXPECT_EQ(Pcm(y.begin(), y.begin() + 13920), Pcm(whole.begin(), whole.begin() + 13920));
        EXPECT_LT(rms(Pcm(y.begin() + 17280, y.begin() + 18600)), 3) << "held, faded, silent";
        EXPECT_LE(std::abs(spectral_lag(Pcm(whole.begin() + 19200, whole.end()), Pcm(y.begin() + 19200, y.end()), 720)),
                  16);
        EXPECT_EQ(run({"info", folder / "x.talv"}).status, 7);
    }
    EXPECT_EQ(run({"info", folder / "x.talv", "--json"}).out.find("\"frames\":0,"), std::string::npos);
}

TEST(Ogg, LostHeadsAndEndsAreToldApart)
{
    const Pcm x = speech();
    const std::string ogg = encoded(x, {"--page-frames", "20"});
    const auto at = pages_of(ogg);
    Folder folder;
    write_file(folder / "headless.talv", ogg.substr(at[1]));
    Outcome got = run({"decode", "-q", folder / "headless.talv", folder / "y.wav"});
    EXPECT_EQ(got.status, 7) << got.err;
    EXPECT_EQ(read_pcm(folder / "y.wav"), decoded(ogg));

    write_file(folder / "tagless.talv", ogg.substr(0, at[1]) + ogg.substr(at[2]));
    got = run({"decode", "-q", folder / "tagless.talv", folder / "y.wav"});
    EXPECT_EQ(got.status, 0) << "no frame is missing";
    EXPECT_EQ(read_pcm(folder / "y.wav"), decoded(ogg));

    for (const size_t end : {at[5], at[5] + 40}) {
        write_file(folder / "cut.talv", ogg.substr(0, end));
        got = run({"decode", "-q", folder / "cut.talv", folder / "z.wav"});
        EXPECT_EQ(got.status, 5);
        EXPECT_NE(got.err.find(": is cut off: its last page is missing"), std::string::npos) << got.err;
        EXPECT_FALSE(std::ifstream(folder / "z.wav").good());
        got = run({"decode", "-q", "--keep-partial", folder / "cut.talv", folder / "z.wav"});
        EXPECT_EQ(got.status, 5);
        const Pcm z = read_pcm(folder / "z.wav"), whole = decoded(ogg);
        EXPECT_EQ(z, Pcm(whole.begin(), whole.begin() + 240 * 60 - 480));
        std::remove((folder / "z.wav").c_str());
    }

    write_file(folder / "other.talv", "OggS, but nothing of the kind follows.");
    got = run({"decode", "-q", folder / "other.talv", folder / "z.wav"});
    EXPECT_EQ(got.status, 4);
    EXPECT_EQ(got.err, "talv: " + (folder / "other.talv") + ": holds no talv stream\n");
    write_pcm(folder / "vorbis.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, x);
    EXPECT_EQ(run({"decode", "-q", folder / "vorbis.ogg", folder / "z.wav"}).status, 4);
}

TEST(Ogg, ContentIsRecognisedWhateverTheName)
{
    Folder folder;
    const Pcm x = speech();
    const std::string ogg = encoded(x), bare = encoded(x, {"--bare"});
    EXPECT_EQ(bare.size(), 8 * ((x.size() + 239) / 240));
    write_file(folder / "a.frames", ogg);
    write_file(folder / "b.bin", ogg);
    for (const char *name : {"a.frames", "b.bin"}) {
        ASSERT_EQ(run({"decode", "-q", folder / name, folder / "y.wav"}).status, 0) << name;
        EXPECT_EQ(read_pcm(folder / "y.wav"), decoded(ogg)) << name;
    }
    const Pcm once = decoded(ogg), chained = decoded(ogg + encoded(x));
    ASSERT_EQ(chained.size(), 2 * once.size());
    EXPECT_EQ(Pcm(chained.begin() + static_cast<int>(once.size()), chained.end()), once) << "each stream starts anew";
}

TEST(Ogg, HostileStreamsEndWithAStatus)
{
    /* Bytes turned over, cut out, repeated and put in, with checksums made right again half of the time. Whatever it
     * is, the tool ends by itself, in a status that it has, and never writes more than an hour for each page. */
    constexpr unsigned SEED = 20;
    std::mt19937 random(SEED);
    const Pcm x = speech();
    const std::string ogg = encoded(Pcm(x.begin(), x.begin() + 9600), {"--page-frames", "8", "--comment", "A=b"});
    Folder folder;
    for (int n = 0; n < 120; n++) {
        std::string bad = ogg;
        for (unsigned k = 0; k < 1 + random() % 6; k++) {
            const size_t at = random() % bad.size();
            switch (random() % 4) {
            case 0:
                bad[at] = static_cast<char>(random());
                break;
            case 1:
                bad.erase(at, random() % 40);
                break;
            case 2:
                bad.insert(at, bad.substr(random() % bad.size(), 60));
                break;
            default:
                bad.insert(at, 1, static_cast<char>(random()));
            }
            if (bad.empty())
                bad.assign(1, static_cast<char>(79));
        }
        if (n % 2 == 0) {
            const auto at = pages_of(bad);
            for (size_t p = 0; p + 1 < at.size() && at[p + 1] <= bad.size(); p++) {
                std::string page = bad.substr(at[p], at[p + 1] - at[p]);
                if (page.size() > 13) /* no page is far from the others: that has its own test */
                    page.replace(9, 5, 5, '\0');
                bad.replace(at[p], page.size(), mended(page));
            }
        }
        write_file(folder / "x.talv", bad);
        const Outcome got = run({"info", folder / "x.talv"});
        EXPECT_TRUE(got.signal == 0 && (got.status == 0 || (got.status >= 4 && got.status <= 7)))
            << "seed " << SEED << ", stream " << n << ": status " << got.status << ", signal " << got.signal << got.err;
    }

    std::string far = ogg; /* a page that says it is years away, with a right checksum */
    const auto at = pages_of(far);
    std::string page = far.substr(at[4], at[5] - at[4]);
    page[11] = 0x70;
    far.replace(at[4], page.size(), mended(page));
    write_file(folder / "far.talv", far);
    const Outcome got = run({"decode", "-q", folder / "far.talv", folder / "y.wav"});
    EXPECT_EQ(got.status, 7);
    EXPECT_LT(read_pcm(folder / "y.wav").size(), 20000u);
}

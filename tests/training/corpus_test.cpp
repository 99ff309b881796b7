/* Recordings, manifest and the split by speaker. */
#include "training/corpus.h"

#include "tests/support/folder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace talv
{
namespace
{

using talv_test::Folder;
using talv_test::write_file;

TEST(Csv, QuotesHoldCommasAndQuotes)
{
    using Fields = std::vector<std::string>;
    EXPECT_EQ(csv_fields("a,b,c"), (Fields{"a", "b", "c"}));
    EXPECT_EQ(csv_fields("a,,"), (Fields{"a", "", ""}));
    EXPECT_EQ(csv_fields(""), (Fields{""}));
    EXPECT_EQ(csv_fields("\"a, b\",c"), (Fields{"a, b", "c"}));
    EXPECT_EQ(csv_fields("\"say \"\"a\"\"\",c"), (Fields{"say \"a\"", "c"}));
}

TEST(FindRecordings, TakesWhatTheManifestTells)
{
    const Folder folder;
    for (const char *name : {"speech/x/b.FLAC", "speech/a.wav", "speech/notes.txt", "speech/z.ogg"})
        write_file(folder / name, "");
    write_file(folder / "list.csv", "speaker,file,note,sex,language,source\r\n"
                                    "Ann,speech/a.wav,\"loud, clear\",f~,pt_BR,home\r\n"
                                    "Bob,speech/x/b.FLAC,,m?,en (L1 zh),\r\n"
                                    "Eve,speech/gone.wav,,f,en,home\r\n");
    const std::vector<Recording> got = find_recordings(folder / "speech", folder / "list.csv");
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(got[0].name, "a.wav");
    EXPECT_EQ(got[0].speaker, "Ann");
    EXPECT_EQ(got[0].language, "pt");
    EXPECT_EQ(got[0].sex, "f");
    EXPECT_EQ(got[0].source, "home");
    EXPECT_EQ(got[1].name, "x/b.FLAC");
    EXPECT_EQ(got[1].language, "en (L1 zh)");
    EXPECT_EQ(got[1].sex, "m");
    EXPECT_EQ(got[1].source, "?");
    EXPECT_EQ(got[2].speaker, "z.ogg") << "a file of its own is a speaker of its own";
}

TEST(FindRecordings, RefusesWhatItCannotRead)
{
    const Folder folder;
    write_file(folder / "a.wav", "");
    write_file(folder / "no-speaker.csv", "file,name\na.wav,Ann\n");
    write_file(folder / "short-line.csv", "file,speaker,sex\na.wav,Ann\n");
    EXPECT_THROW(find_recordings(folder / "none", ""), std::runtime_error);
    EXPECT_THROW(find_recordings(folder / "", folder / "none.csv"), std::runtime_error);
    EXPECT_THROW(find_recordings(folder / "", folder / "no-speaker.csv"), std::runtime_error);
    EXPECT_THROW(find_recordings(folder / "", folder / "short-line.csv"), std::runtime_error);
}

std::vector<Recording> many_recordings()
{
    std::vector<Recording> recordings;
    for (int i = 0; i < 400; i++) {
        Recording r;
        r.name = std::to_string(i);
        r.speaker = std::string("speaker ") + std::to_string(i % 150);
        r.source = std::string(i % 150 < 100 ? "large" : "small");
        r.sex = std::string(i % 2 == 0 ? "f" : "m");
        recordings.push_back(r);
    }
    return recordings;
}

TEST(Split, KeepsEachSpeakerOnOneSideAndAFifthForValidation)
{
    for (uint64_t seed : {1u, 2u, 77u}) {
        std::vector<Recording> recordings = many_recordings();
        EXPECT_EQ(split_by_speaker(recordings, seed), 150);
        std::map<std::string, std::set<bool>> sides;
        std::map<std::string, std::set<std::string>> kept;
        for (const Recording &r : recordings) {
            sides[r.speaker].insert(r.validation);
            if (r.validation)
                kept[r.source + r.sex].insert(r.speaker);
        }
        for (const auto &[speaker, on] : sides)
            EXPECT_EQ(on.size(), 1u) << speaker << " is on both sides, seed " << seed;
        /* 50 + 50 speakers in the large source and 25 + 25 in the small one */
        EXPECT_EQ(kept["largef"].size(), 10u) << "seed " << seed;
        EXPECT_EQ(kept["largem"].size(), 10u) << "seed " << seed;
        EXPECT_EQ(kept["smallf"].size(), 5u) << "seed " << seed;
        EXPECT_EQ(kept["smallm"].size(), 5u) << "seed " << seed;
    }
}

TEST(Split, HangsOnTheSeedAlone)
{
    std::vector<Recording> a = many_recordings(), b = many_recordings(), c = many_recordings();
    split_by_speaker(a, 5);
    split_by_speaker(b, 5);
    split_by_speaker(c, 6);
    const auto same = [](const Recording &x, const Recording &y) { return x.validation == y.validation; };
    EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin(), same));
    EXPECT_FALSE(std::equal(a.begin(), a.end(), c.begin(), same));
}

TEST(Split, SpeakersWhoMeetStayTogether)
{
    /* Ann meets Bob, Bob meets Cid: all three are one group, whatever the seed */
    std::vector<Recording> recordings = many_recordings();
    for (const char *speaker : {"Ann+Bob", "Cid", "Bob+Cid", "Ann"}) {
        Recording r;
        r.name = r.speaker = speaker;
        r.source = std::string(speaker[0] == 'A' ? "large" : "small"); /* apart in the order that is split */
        recordings.push_back(r);
    }
    for (uint64_t seed = 1; seed <= 40; seed++) {
        EXPECT_EQ(split_by_speaker(recordings, seed), 151);
        for (size_t i = recordings.size() - 4; i < recordings.size(); i++)
            EXPECT_EQ(recordings[i].validation, recordings.back().validation) << "seed " << seed;
    }
}

} // namespace
} // namespace talv

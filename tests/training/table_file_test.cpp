/* The table as source text. */
#include "training/table_file.h"

#include "dsp/vq.h"
#include "tests/support/compare.h"
#include "tests/support/signals.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace talv
{
namespace
{

/** A file that goes with its variable */
struct TextFile {
    std::string path;

    explicit TextFile(const std::string &text)
    {
        const auto *test = ::testing::UnitTest::GetInstance()->current_test_info();
        const std::string name = std::string("talv-") + test->name() + "-" + std::to_string(getpid()) + ".h";
        path = (std::filesystem::temp_directory_path() / name).string();
        std::ofstream(path) << text;
    }
    ~TextFile() { std::remove(path.c_str()); }
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;
};

TEST(HeaderText, ReadsBackAsTheSameTable)
{
    test::Random random(78);
    Codebook codebook(AS_ROWS * AS_DIM);
    for (float &v : codebook)
        v = static_cast<float>(random.uniform(0.1, 3.0));
    codebook[5] = 1.0f;
    codebook[6] = 0.17f;
    const std::string text = header_text(codebook, {{"Data", "as_codebook, 102 minutes"}, {"Method", "none"}});
    EXPECT_NE(text.find(" 1.0f, "), std::string::npos) << "1f is no literal";
    EXPECT_NE(text.find(" 0.17f, "), std::string::npos) << "more digits than the value has";
    const TextFile file(text);
    const Codebook got = read_table(file.path);
    ASSERT_EQ(got.size(), codebook.size());
    EXPECT_TRUE(test::same_bits(got.data(), codebook.data(), AS_ROWS * AS_DIM));
    EXPECT_EQ(table_checksum(got), test::table_checksum(codebook.data(), AS_ROWS * AS_DIM));
}

/* Printed again, the table in use is the same text from its first row on: nothing was changed by hand. */
TEST(HeaderText, IsThatOfTheTableInUse)
{
    const std::string path = TALV_SOURCE_DIR "/dsp/as_codebook.h";
    std::stringstream in_use;
    in_use << std::ifstream(path).rdbuf();
    const std::string want = in_use.str(), got = header_text(read_table(path), {});
    const char *const first = "inline constexpr float as_codebook";
    ASSERT_NE(want.find(first), std::string::npos);
    EXPECT_EQ(got.substr(got.find(first)), want.substr(want.find(first)));
}

TEST(TableInUse, KeepsToTheLimitsOfTheTraining)
{
    const Codebook codebook = read_table(TALV_SOURCE_DIR "/dsp/as_codebook.h");
    for (int r = 0; r < AS_ROWS; r++)
        EXPECT_TRUE(admissible(table_limits(), r, codebook.data() + r * AS_DIM)) << "row " << r;
}

TEST(ReadTable, RefusesWhatIsNoTable)
{
    EXPECT_THROW(read_table("no such file"), std::runtime_error);
    EXPECT_THROW(read_table(TextFile("int x;\n").path), std::runtime_error);
    const std::string text = header_text(Codebook(127 * AS_DIM, 0.5f), {});
    EXPECT_THROW(read_table(TextFile(text).path), std::runtime_error) << "a row is missing";
}

TEST(HeaderText, LinesFitAndRowsAreAligned)
{
    const Codebook codebook(128 * AS_DIM, 0.123456f);
    std::string words;
    for (int i = 0; i < 60; i++)
        words += std::string("word") + std::to_string(i) + " ";
    const std::string text = header_text(codebook, {{"Data", words + "end."}});
    size_t rows = 0, at = 0, comma = 0;
    while (at < text.size()) {
        const size_t end = text.find('\n', at);
        ASSERT_NE(end, std::string::npos) << "the last line has no end";
        const std::string line = text.substr(at, end - at);
        EXPECT_LE(line.size(), 120u) << line;
        EXPECT_TRUE(line.empty() || line.back() != ' ') << "'" << line << "'";
        if (line.rfind("    0.", 0) == 0) {
            EXPECT_TRUE(rows == 0 || line.find(',') == comma) << line;
            comma = line.find(',');
            rows++;
        }
        at = end + 1;
    }
    EXPECT_EQ(rows, 128u);
    for (int i = 0; i < 60; i++)
        EXPECT_NE(text.find(std::string("word") + std::to_string(i)), std::string::npos) << "a word is lost";
}

} // namespace
} // namespace talv

/* The table as source text. */
#include "training/table_file.h"

#include "dsp/vq.h"
#include "tests/support/compare.h"
#include "tests/support/folder.h"
#include "tests/support/signals.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

namespace talv
{
namespace
{

/** The table that a file with this text holds */
Codebook table_in(const std::string &text)
{
    const talv_test::Folder folder;
    talv_test::write_file(folder / "table.h", text);
    return read_table(folder / "table.h");
}

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
    const Codebook got = table_in(text);
    ASSERT_EQ(got.size(), codebook.size());
    EXPECT_TRUE(test::same_bits(got.data(), codebook.data(), AS_ROWS * AS_DIM));
    EXPECT_EQ(table_checksum(got), test::table_checksum(codebook.data(), AS_ROWS * AS_DIM));
}

/* Printed again, the table in use is the same text from its first row on: nothing was changed by hand. */
TEST(HeaderText, IsThatOfTheTableInUse)
{
    const std::string path = TALV_SOURCE_DIR "/dsp/as_codebook.h";
    const std::string want = talv_test::read_file(path), got = header_text(read_table(path), {});
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
    EXPECT_THROW(table_in("int x;\n"), std::runtime_error);
    const std::string text = header_text(Codebook(127 * AS_DIM, 0.5f), {});
    EXPECT_THROW(table_in(text), std::runtime_error) << "a row is missing";
}

} // namespace
} // namespace talv

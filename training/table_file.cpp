#include "training/table_file.h"

#include "dsp/vq.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace talv
{

namespace
{

const char TABLE_HEAD[] = R"(/** Amplitude codebook */
#ifndef TALV_DSP_AS_CODEBOOK_H
#define TALV_DSP_AS_CODEBOOK_H

#include "dsp/constants.h"
#include "dsp/vq.h"

namespace talv
{

/* Magnitudes of harmonics 1 to 10, one row a line, on the scale where the mean square of a vector is 1 and the flat
 * level is 1.0. The table stands in a header because floor_noise (encoder/conditioning.cpp) is derived from it at
 * compile time.
 *
)";

constexpr size_t LINE_WIDTH = 120;
constexpr size_t TITLE_WIDTH = 9;

/** The shortest text that reads back as the same float, as a literal */
std::string literal(float v)
{
    char text[32];
    const auto end = std::to_chars(text, std::end(text), v, std::chars_format::fixed);
    std::string s(text, end.ptr);
    if (s.find('.') == std::string::npos)
        s += ".0";
    return s + "f";
}

/** A paragraph of the comment: title in front, its lines indented behind it */
std::string paragraph(const std::string &title, const std::string &words)
{
    std::string text, line = " * " + title + std::string(TITLE_WIDTH - std::min(title.size(), TITLE_WIDTH - 1), ' ');
    bool empty = true;
    for (size_t from = 0; from < words.size();) {
        const size_t to = std::min(words.find(' ', from), words.size());
        const std::string word = words.substr(from, to - from);
        if (!empty && line.size() + 1 + word.size() > LINE_WIDTH) {
            text += line + "\n";
            line = " * " + std::string(TITLE_WIDTH, ' ');
            empty = true;
        }
        line += (empty ? "" : " ") + word;
        empty = false;
        from = to + 1;
    }
    return text + line + "\n";
}

} // namespace

std::string header_text(const Codebook &codebook, const std::vector<std::pair<std::string, std::string>> &origin)
{
    std::string text = TABLE_HEAD;
    for (const auto &[title, words] : origin)
        text += paragraph(title, words);
    text += " */\n"
            "// clang-format off\n"
            "inline constexpr float as_codebook[AS_ROWS * AS_DIM] = {\n";

    size_t width = 0;
    for (float v : codebook)
        width = std::max(width, literal(v).size());
    for (size_t r = 0; r < codebook.size() / AS_DIM; r++) {
        if (r % 8 == 0)
            text.append(r > 0 ? "\n" : "").append("    /* ").append(std::to_string(r)).append(" */\n");
        std::string line = "   ";
        for (size_t d = 0; d < AS_DIM; d++) {
            const std::string number = literal(codebook[r * AS_DIM + d]) + ",";
            line += " " + number;
            if (d + 1 < AS_DIM) /* points under each other */
                line += std::string(width + 1 - number.size(), ' ');
        }
        text += line + "\n";
    }
    return text + "};\n"
                  "// clang-format on\n"
                  "static_assert(as_codebook[AS_ROWS * AS_DIM - 1] > 0.0f, \"a row is missing\");\n"
                  "\n"
                  "} // namespace talv\n"
                  "\n"
                  "#endif\n";
}

Codebook read_table(const std::string &path)
{
    std::ifstream in(path);
    std::stringstream all;
    all << in.rdbuf();
    const std::string text = all.str();
    const size_t from = text.find("as_codebook["), to = text.find("};", from);
    if (!in || from == std::string::npos || to == std::string::npos)
        throw std::runtime_error(path + ": cannot be read, or defines no as_codebook");

    /* numbers follow the opening brace; index comments lie between them */
    Codebook codebook;
    for (size_t at = text.find('{', from); at < to; at++) {
        if (text.compare(at, 2, "/*") == 0) {
            at = text.find("*/", at) + 1;
        } else if (text[at] >= '0' && text[at] <= '9') {
            char *end = nullptr;
            codebook.push_back(std::strtof(text.c_str() + at, &end));
            at = static_cast<size_t>(end - text.c_str());
        }
    }
    if (codebook.size() != AS_ROWS * AS_DIM)
        throw std::runtime_error(path + ": as_codebook has " + std::to_string(codebook.size()) + " elements, not " +
                                 std::to_string(AS_ROWS * AS_DIM));
    return codebook;
}

uint32_t table_checksum(const Codebook &codebook)
{
    uint32_t hash = 0x811C9DC5u;
    for (float v : codebook)
        for (int shift = 0; shift < 32; shift += 8)
            hash = (hash ^ (std::bit_cast<uint32_t>(v) >> shift & 0xFFu)) * 0x01000193u;
    return hash;
}

} // namespace talv

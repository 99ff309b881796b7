/** The table as source text */
#ifndef TALV_TRAINING_TABLE_FILE_H
#define TALV_TRAINING_TABLE_FILE_H

#include "training/lloyd.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace talv
{

/** A header that defines as_codebook, as dsp/as_codebook.h does
 *  codebook  I   rows of floats that are printed with the fewest digits that read back as the same float
 *  origin    I   paragraphs for the comment above the table, each a title and a text; wrapped here                  */
std::string header_text(const Codebook &codebook, const std::vector<std::pair<std::string, std::string>> &origin);

/** The table of such a header
 *  throws        std::runtime_error when it has not the 128 rows                                                    */
Codebook read_table(const std::string &path);

/** FNV-1a over the bit patterns, low byte first: what tests/dsp/as_codebook_test.cpp knows the table by */
uint32_t table_checksum(const Codebook &codebook);

} // namespace talv

#endif

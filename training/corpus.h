/** The recordings to train on: who speaks in them, and which of the speakers are kept back for validation */
#ifndef TALV_TRAINING_CORPUS_H
#define TALV_TRAINING_CORPUS_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace talv
{

/** One recording. What is not known is "?". */
struct Recording {
    std::filesystem::path path;
    std::string name;     /* path below the folder, for messages and order                     */
    std::string speaker;  /* several talkers in one recording are joined by '+'                */
    std::string source;   /* collection it comes from                                          */
    std::string language; /* "en", "pt"; a remark in brackets is part of it: "en (L1 zh)"      */
    std::string sex;      /* "f", "m", "mixed"                                                 */
    bool validation = false;
};

/** All audio files below a folder, in the order of their names
 *  manifest  I   CSV file that tells about them, or empty: each file is then a speaker of its own
 *
 *  The first line of the manifest names its columns. `file`, a path from the manifest's own folder, and `speaker` must
 *  be among them; `source`, `language` and `sex` may. Other columns are passed over, and so are lines about files that
 *  are not in the folder. A file that no line tells about is a speaker of its own. Of a language tag the part before
 *  '-' or '_' counts, and the marks '~' and '?' behind a sex (estimated, uncertain) are dropped.
 *  throws        std::runtime_error                                                                                 */
std::vector<Recording> find_recordings(const std::filesystem::path &folder, const std::filesystem::path &manifest);

/** Mark a fifth of the speakers as validation speakers
 *
 *  Speakers that share a recording, directly or through others, are kept together. They are sorted by source, sex and
 *  a seeded hash of the name, and every fifth one is taken, so that sources and sexes have their share on both sides.
 *  return        number of speakers, those who share recordings counting as one                                      */
int split_by_speaker(std::vector<Recording> &recordings, uint64_t seed);

/** Split a line of CSV; a field in double quotes may hold commas, and two double quotes there stand for one */
std::vector<std::string> csv_fields(const std::string &line);

} // namespace talv

#endif

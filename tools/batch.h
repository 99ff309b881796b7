/** Many files in one run: which are meant, where their outputs go, and how each of them ended */
#ifndef TALV_TOOLS_BATCH_H
#define TALV_TOOLS_BATCH_H

#include "failure.h"
#include "progress.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace talv
{

struct BatchOptions {
    std::vector<std::string> names; /* inputs, and the output at the end unless there is a folder */
    std::string folder;             /* for the outputs; empty: the last name is the output         */
    int jobs = 1;                   /* files at work at once                                       */
    bool recursive = false;         /* an input may be a folder: all that is in it                 */
    bool resume = false;            /* outputs that are there and no older than their input stay   */
    bool quiet = false;             /* failures alone are told                                     */
    bool json = false;              /* one JSON object a file on standard output                   */
    bool keep_partial = false;      /* what was done before a failure or an interruption is kept   */
};

struct BatchFile {
    std::string in, out;
};

/** What became of a file */
struct FileReport {
    std::string name;    /* of the input, for messages            */
    int64_t samples = 0; /* at 8 kHz                              */
    int64_t frames = 0;
    int64_t bytes = 0;     /* of the coded side                     */
    double level_dbov = 0; /* active level, encode alone            */
    bool has_level = false;
    std::vector<std::string> warnings;
};

using FileWork = std::function<void(const BatchFile &, FileReport &, Progress::File &)>;

/** Do one thing to all files
 *  what     "encode" or "decode"
 *  ending   of the outputs in a folder, as in ".talv"
 *  endings  of the files that are taken out of folders
 *  work     throws Failure; the other files are done all the same
 *  return   the exit status of the run
 *  throws   Failure when the names make no sense (Status::usage)
 */
Status run_batch(const std::string &what, const BatchOptions &options, const std::string &ending,
                 const std::vector<std::string> &endings, const FileWork &work);

} // namespace talv

#endif

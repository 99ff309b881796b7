/** The vectors of a folder of recordings, and how well a codebook serves those who speak there */
#ifndef TALV_TRAINING_COLLECTION_H
#define TALV_TRAINING_COLLECTION_H

#include "training/corpus.h"
#include "training/lloyd.h"

#include <functional>
#include <string>
#include <vector>

namespace talv
{

/** One side of the split */
struct Side {
    std::vector<float> vectors;    /* [n][AS_DIM] of the frames that hold speech, recording after recording */
    std::vector<size_t> recording; /* [n]         where each comes from                                     */
};

struct Collection {
    std::vector<Recording> recordings;
    int speakers = 0;     /* those who share a recording count as one            */
    double minutes = 0.0; /* of the recordings as a whole                        */
    size_t frames = 0;    /* of the recordings as a whole                        */
    Side training, validation;
};

/** Read a folder, analyse its recordings and keep the frames that hold speech (speech_threshold)
 *  folder, manifest  I   as in find_recordings
 *  seed              I   of the split
 *  progress          I   called with the number of recordings done and their total, by one thread at a time
 *  throws                std::runtime_error: unreadable recordings, or no speech                                    */
Collection collect(const std::string &folder, const std::string &manifest, uint64_t seed, int threads,
                   const std::function<void(size_t, size_t)> &progress);

/** Quantise with vq_search, as the encoder does
 *  return   the cells and the distortion; sums of the cells are left empty */
Partition quantise(const Side &side, const Codebook &codebook);

/** Distortion in dB, on both sides, of all vectors and by source, language and sex, as lines of text
 *  training, validation  I   of the sides of the collection, from quantise                                          */
std::string distortion_by_group(const Collection &collection, const Codebook &codebook, const Partition &training,
                                const Partition &validation);

} // namespace talv

#endif

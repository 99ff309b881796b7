/** Training of a codebook under plain squared error
 *
 *  Generalised Lloyd algorithm: each vector goes to its nearest row, each row to the admissible place nearest to the
 *  centroid of its vectors, until a pass gains next to nothing. Start by k-means++, several times; the best table on
 *  the training vectors wins.
 *
 *  Sums are formed over blocks of fixed length and added up in the order of the blocks, so that a seed gives the same
 *  table on any number of threads.
 *
 *  Source: Linde, Buzo and Gray, "An Algorithm for Vector Quantizer Design", IEEE Trans. Commun. 28, 1980; Arthur and
 *          Vassilvitskii, "k-means++: The Advantages of Careful Seeding", SODA 2007.
 */
#ifndef TALV_TRAINING_LLOYD_H
#define TALV_TRAINING_LLOYD_H

#include "training/limits.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace talv
{

/** Vectors of AS_DIM floats, one behind the other */
using VectorSet = std::span<const float>;

/** Rows of AS_DIM floats, one behind the other */
using Codebook = std::vector<float>;

/** How the vectors fall on the rows of a codebook */
struct Partition {
    std::vector<uint64_t> count;  /* [rows]         vectors of the cell                        */
    std::vector<double> cost;     /* [rows]         sum of their squared distances to the row  */
    std::vector<double> sum;      /* [rows][AS_DIM] sum of the vectors                         */
    std::vector<double> squares;  /* [rows][AS_DIM] sum of their squares, element by element   */
    std::vector<int32_t> nearest; /* [vectors]      the row of each                            */
    double mean_cost = 0.0;       /* mean squared distance over all vectors                    */
};

struct Training {
    Codebook codebook;
    double mean_cost = 0.0;     /* of that codebook on the training vectors                                   */
    std::vector<double> pass;   /* mean squared distance found by each pass of the run that gave the codebook */
    int reseeded = 0;           /* empty cells that were given a new place in that run                        */
    double worst_restart = 0.0; /* mean squared distance that the poorest restart ended with */
};

struct TrainingPlan {
    int rows = 128;
    uint64_t seed = 1;
    int restarts = 8;
    double least_gain = 1e-5; /* a pass that lowers the mean squared distance by less than this share is the last */
    int threads = 1;
    std::function<void(const std::string &)> progress; /* told what is going on, often; may be empty */
};

/** Find the nearest row of each vector: of equal distances the lower row */
void partition(VectorSet vectors, const Codebook &codebook, int threads, Partition *cells);

/** Start values: the given rows, a flat row for each guarded one, and the others drawn from the vectors with a chance
 *  in proportion to their squared distance from the rows there are */
Codebook starting_codebook(VectorSet vectors, int rows, const Limits &limits, uint64_t seed, uint64_t run);

/** Passes of the generalised Lloyd algorithm from a codebook until the gain is below least_gain, or for max_passes
 *  An empty cell takes over half of the costliest one, split along its widest axis, one cell a pass.
 *  return   the codebook, and the distortion that each pass found */
Training lloyd(VectorSet vectors, Codebook codebook, const Limits &limits, double least_gain, int max_passes,
               int threads);

/** The whole training: the best of several restarts */
Training train(VectorSet vectors, const Limits &limits, const TrainingPlan &plan);

} // namespace talv

#endif

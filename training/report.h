/** What there is to say about a table */
#ifndef TALV_TRAINING_REPORT_H
#define TALV_TRAINING_REPORT_H

#include "training/lloyd.h"

#include <string>

namespace talv
{

/** 10 log10 of AS_DIM, the square of a vector, over the mean squared distance */
double distortion_db(double mean_cost);

/** Level, peaks, neighbours and order of the rows */
std::string row_statistics(const Codebook &codebook);

/** What each limit costs on the vectors it was trained on: the distortion with the rows as they are, against rows that
 *  sit at the centroids of their cells but for that limit */
std::string limit_costs(const Codebook &codebook, const Limits &limits, const Partition &cells);

/** How often each row is the nearest, in per cent, eight to a line */
std::string row_usage(const Partition &training, const Partition &validation);

} // namespace talv

#endif

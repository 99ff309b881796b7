/** What the rows of the amplitude codebook must keep to, whatever the data say
 *
 *  Each rule marks off a region that does not depend on the other free rows, so that rows can be moved one by one, and
 *  a table of rows that all keep to their rules has all the properties below.
 *
 *    Given rows    Rows 0, 3, 7 and 127 are part of the format of the stream.
 *    Elements      Row 0 holds the largest and the smallest element of the table.
 *    Level         Row 7 has the smallest sum of squares and row 127 the largest: a free row lies between them. The
 *                  zero vector is then nearest to row 7.
 *    Guarded       A guarded vector belongs to one row: pure first harmonics to row 0, flat spectra (a train of single
 *    vectors       pulses) to row 126. All other rows keep their distance from it.
 */
#ifndef TALV_TRAINING_LIMITS_H
#define TALV_TRAINING_LIMITS_H

#include "dsp/constants.h"

#include <cmath>
#include <vector>

namespace talv
{

struct GivenRow {
    int row;
    float value[AS_DIM];
};

/** A vector with the row that must be the nearest to it */
struct Guard {
    int row;
    float vector[AS_DIM];
    double inside;  /* the row lies at most so far from it; not tested for a given row */
    double outside; /* every other free row lies at least so far from it               */
};

struct Limits {
    std::vector<GivenRow> given;
    std::vector<Guard> guards;
    double element_min, element_max; /* of a free row */
    double square_min, square_max;   /* sum of the squares of a free row */
};

/** No rules at all: the codebook to compare with */
Limits no_limits();

/** The rules of the codec's table */
Limits table_limits();

const GivenRow *find_given(const Limits &limits, int row);

/** Distances of rows, whose elements are floats, and of points on the way to one, whose elements are doubles */
template <typename X, typename Y>
double squared_distance(const X *x, const Y *y)
{
    double sum = 0.0;
    for (int d = 0; d < AS_DIM; d++) {
        const double t = static_cast<double>(x[d]) - static_cast<double>(y[d]);
        sum += t * t;
    }
    return sum;
}
template <typename X, typename Y>
double distance(const X *x, const Y *y)
{
    return std::sqrt(squared_distance(x, y));
}

/** Whether a row keeps to all its rules; a given row does when it has its values */
bool admissible(const Limits &limits, int row, const float *value);

/** The admissible row nearest to a centroid, in six significant digits
 *  centroid  I  [AS_DIM]
 *  value     O  [AS_DIM]  nearest of all up to those digits where elements and level alone are in question; the guards
 *                         come after them, each by the shortest way, until all hold
 *  return       false when no such row was found                                                                    */
bool nearest_admissible(const Limits &limits, int row, const double *centroid, float *value);

} // namespace talv

#endif

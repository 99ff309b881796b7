/** The order of the rows: a wrong bit of the index should do little harm
 *
 *  The frame has no protection against bit errors. Rows are numbered so that those whose numbers differ in one
 *  bit are alike ("pseudo-Gray coding"). A full search and a fetch by number are the same in any order.
 *
 *  Source: Zeger and Gersho, "Pseudo-Gray Coding", IEEE Trans. Commun. 38, 1990.
 */
#ifndef TALV_TRAINING_ORDER_H
#define TALV_TRAINING_ORDER_H

#include "training/lloyd.h"

#include <cstdint>
#include <vector>

namespace talv
{

/** Mean squared distance from the row sent to the row received when one bit of the index, any of them alike, is wrong
 *  codebook  I           a power of two of rows
 *  count     I  [rows]   how often each is sent                                                                    */
double one_bit_cost(const Codebook &codebook, const std::vector<uint64_t> &count);

struct RowOrder {
    std::vector<int> from;    /* [rows]  the row that goes to each place; a row that may not move stays         */
    double cost = 0.0;        /* one_bit_cost in that order                                                     */
    double random_cost = 0.0; /* its mean over the random orders that the search started from                   */
};

/** Find an order by binary switching: the two rows whose exchange lowers the cost most change places, row by row from
 *  the costliest on, until no exchange helps; the best of `starts` random orders
 *  movable   I  [rows]   */
RowOrder order_rows(const Codebook &codebook, const std::vector<uint64_t> &count, const std::vector<bool> &movable,
                    uint64_t seed, int starts);

} // namespace talv

#endif

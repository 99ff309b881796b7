#include "training/order.h"

#include "training/random.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace talv
{

namespace
{

/** Squared distances of all pairs of rows, weighted by how often either is sent: the harm done when one takes the place
 *  of the other */
struct Harm {
    size_t rows;
    std::vector<double> pair;

    Harm(const Codebook &codebook, const std::vector<uint64_t> &count)
        : rows(codebook.size() / AS_DIM), pair(rows * rows)
    {
        for (size_t i = 0; i < rows; i++)
            for (size_t j = 0; j < rows; j++) {
                double square = 0.0;
                for (size_t d = 0; d < AS_DIM; d++) {
                    const double t =
                        static_cast<double>(codebook[i * AS_DIM + d]) - static_cast<double>(codebook[j * AS_DIM + d]);
                    square += t * t;
                }
                pair[i * rows + j] = square * static_cast<double>(count[i] + count[j]);
            }
    }

    /** Of `row` at `place` against those one bit away, the rows at `place` and `other` being left out */
    double at(const std::vector<int> &from, int row, size_t place, size_t other) const
    {
        double sum = 0.0;
        for (size_t bit = 1; bit < rows; bit <<= 1) {
            const size_t neighbour = place ^ bit;
            if (neighbour != other)
                sum += pair[static_cast<size_t>(row) * rows + static_cast<size_t>(from[neighbour])];
        }
        return sum;
    }

    double total(const std::vector<int> &from) const
    {
        double sum = 0.0;
        for (size_t place = 0; place < rows; place++)
            sum += at(from, from[place], place, rows);
        return 0.5 * sum; /* each pair was met twice */
    }
};

/** Change places while that helps */
void switch_rows(const Harm &harm, const std::vector<size_t> &places, std::vector<int> *order)
{
    std::vector<int> &from = *order;
    for (bool changed = true; changed;) {
        changed = false;
        std::vector<std::pair<double, size_t>> costly;
        costly.reserve(places.size());
        for (size_t place : places)
            costly.emplace_back(-harm.at(from, from[place], place, harm.rows), place);
        std::sort(costly.begin(), costly.end());
        for (const auto &[cost, p] : costly) {
            double best_gain = 1e-9 * -cost; /* more than rounding errors, so that the search ends */
            size_t best = p;
            for (size_t q : places) {
                if (q == p)
                    continue;
                const double now = harm.at(from, from[p], p, q) + harm.at(from, from[q], q, p);
                const double then = harm.at(from, from[q], p, q) + harm.at(from, from[p], q, p);
                if (now - then > best_gain) {
                    best_gain = now - then;
                    best = q;
                }
            }
            if (best != p) {
                std::swap(from[p], from[best]);
                changed = true;
            }
        }
    }
}

/** From the sum over pairs to the mean for one wrong bit */
double mean_harm(double total, const std::vector<uint64_t> &count)
{
    int bits = 0;
    while ((size_t{1} << bits) < count.size())
        bits++;
    const uint64_t sent = std::accumulate(count.begin(), count.end(), uint64_t{0});
    return sent > 0 && bits > 0 ? total / (static_cast<double>(sent) * bits) : 0.0;
}

} // namespace

double one_bit_cost(const Codebook &codebook, const std::vector<uint64_t> &count)
{
    const Harm harm(codebook, count);
    std::vector<int> from(harm.rows);
    std::iota(from.begin(), from.end(), 0);
    return mean_harm(harm.total(from), count);
}

RowOrder order_rows(const Codebook &codebook, const std::vector<uint64_t> &count, const std::vector<bool> &movable,
                    uint64_t seed, int starts)
{
    const Harm harm(codebook, count);
    std::vector<size_t> places;
    for (size_t place = 0; place < harm.rows; place++)
        if (movable[place])
            places.push_back(place);

    RowOrder best;
    Random random = random_stream(seed, 0x6F72646572u);
    for (int start = 0; start < starts; start++) {
        std::vector<int> from(harm.rows);
        std::iota(from.begin(), from.end(), 0);
        for (size_t k = places.size(); k > 1; k--)
            std::swap(from[places[k - 1]], from[places[random.below(k)]]);
        best.random_cost += mean_harm(harm.total(from), count) / starts;
        switch_rows(harm, places, &from);
        const double cost = mean_harm(harm.total(from), count);
        if (start == 0 || cost < best.cost) {
            best.cost = cost;
            best.from = from;
        }
    }
    return best;
}

} // namespace talv

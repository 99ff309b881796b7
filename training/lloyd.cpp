#include "training/lloyd.h"

#include "training/parallel.h"
#include "training/random.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace talv
{

namespace
{

constexpr size_t BLOCK = 2048;   /* vectors of one sum: part of the result, like the seed */
constexpr int ALL_PASSES = 1000; /* never reached: passes end by their gain */

size_t rows_of(const Codebook &codebook)
{
    return codebook.size() / AS_DIM;
}

/** Rows with the elements as the outer index, so that a vector meets many rows at a time */
std::vector<float> transposed(const Codebook &codebook)
{
    const size_t rows = rows_of(codebook);
    std::vector<float> columns(codebook.size());
    for (size_t r = 0; r < rows; r++)
        for (size_t d = 0; d < AS_DIM; d++)
            columns[d * rows + r] = codebook[r * AS_DIM + d];
    return columns;
}

/** The nearest row
 *  work   O  [rows] */
size_t nearest_row(const float *x, const float *columns, size_t rows, float *work)
{
    std::fill_n(work, rows, 0.0f);
    for (size_t d = 0; d < AS_DIM; d++) {
        const float e = x[d];
        const float *column = columns + d * rows;
        for (size_t r = 0; r < rows; r++)
            work[r] += (e - column[r]) * (e - column[r]);
    }
    return static_cast<size_t>(std::min_element(work, work + rows) - work);
}

void clear(Partition *cells, size_t rows)
{
    cells->count.assign(rows, 0);
    cells->cost.assign(rows, 0.0);
    cells->sum.assign(rows * AS_DIM, 0.0);
    cells->squares.assign(rows * AS_DIM, 0.0);
}

void add(Partition *total, const Partition &part)
{
    const auto add_each = [](auto &sum, const auto &term) {
        for (size_t i = 0; i < sum.size(); i++)
            sum[i] += term[i];
    };
    add_each(total->count, part.count);
    add_each(total->cost, part.cost);
    add_each(total->sum, part.sum);
    add_each(total->squares, part.squares);
}

void centroid_of(const Partition &cells, size_t row, double *centroid)
{
    for (size_t d = 0; d < AS_DIM; d++)
        centroid[d] = cells.sum[row * AS_DIM + d] / static_cast<double>(cells.count[row]);
}

/** Move each row with vectors to its best place; it stays when that is no better than where it is */
void move_rows(const Partition &cells, const Limits &limits, Codebook *codebook)
{
    for (size_t r = 0; r < rows_of(*codebook); r++) {
        if (cells.count[r] == 0 || find_given(limits, static_cast<int>(r)))
            continue;
        double centroid[AS_DIM];
        centroid_of(cells, r, centroid);
        const auto off_centre = [&](const float *row) {
            double sum = 0.0;
            for (size_t d = 0; d < AS_DIM; d++)
                sum += (static_cast<double>(row[d]) - centroid[d]) * (static_cast<double>(row[d]) - centroid[d]);
            return sum;
        };
        float moved[AS_DIM];
        float *row = codebook->data() + r * AS_DIM;
        if (nearest_admissible(limits, static_cast<int>(r), centroid, moved) && off_centre(moved) < off_centre(row))
            std::copy_n(moved, AS_DIM, row);
    }
}

/** Give half of the costliest cell to an empty one. One cell a pass: the next pass shows what is costliest then.
 *  return   cells filled */
int fill_empty_cell(const Partition &cells, const Limits &limits, Codebook *codebook)
{
    const size_t worst =
        static_cast<size_t>(std::max_element(cells.cost.begin(), cells.cost.end()) - cells.cost.begin());
    if (!(cells.cost[worst] > 0.0))
        return 0;
    double centre[AS_DIM], widest = -1.0;
    size_t axis = 0;
    centroid_of(cells, worst, centre);
    for (size_t d = 0; d < AS_DIM; d++) {
        const double mean_square = cells.squares[worst * AS_DIM + d] / static_cast<double>(cells.count[worst]);
        const double variance = mean_square - centre[d] * centre[d];
        if (variance > widest) {
            widest = variance;
            axis = d;
        }
    }
    centre[axis] += std::sqrt(std::max(widest, 0.0));
    for (size_t r = 0; r < rows_of(*codebook); r++) {
        float row[AS_DIM];
        if (cells.count[r] != 0 || find_given(limits, static_cast<int>(r)) ||
            !nearest_admissible(limits, static_cast<int>(r), centre, row))
            continue;
        std::copy_n(row, AS_DIM, codebook->data() + r * AS_DIM);
        return 1;
    }
    return 0;
}

std::string level_text(double mean_cost)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f dB", 10.0 * std::log10(AS_DIM / mean_cost));
    return text;
}

} // namespace

void partition(VectorSet vectors, const Codebook &codebook, int threads, Partition *cells)
{
    const size_t rows = rows_of(codebook), n = vectors.size() / AS_DIM, blocks = (n + BLOCK - 1) / BLOCK;
    const std::vector<float> columns = transposed(codebook);
    std::vector<Partition> parts(blocks);
    cells->nearest.resize(n);
    for_each_piece(threads, blocks, [&](size_t b) {
        Partition &part = parts[b];
        clear(&part, rows);
        std::vector<float> work(rows);
        for (size_t i = b * BLOCK; i < std::min(n, (b + 1) * BLOCK); i++) {
            const float *x = vectors.data() + i * AS_DIM;
            const size_t r = nearest_row(x, columns.data(), rows, work.data());
            cells->nearest[i] = static_cast<int32_t>(r);
            part.count[r]++;
            part.cost[r] += squared_distance(x, codebook.data() + r * AS_DIM);
            for (size_t d = 0; d < AS_DIM; d++) {
                const double e = static_cast<double>(x[d]);
                part.sum[r * AS_DIM + d] += e;
                part.squares[r * AS_DIM + d] += e * e;
            }
        }
    });
    clear(cells, rows);
    for (const Partition &part : parts)
        add(cells, part);
    double total = 0.0;
    for (double cost : cells->cost)
        total += cost;
    cells->mean_cost = n > 0 ? total / static_cast<double>(n) : 0.0;
}

Codebook starting_codebook(VectorSet vectors, int rows, const Limits &limits, uint64_t seed, uint64_t run)
{
    const size_t n = vectors.size() / AS_DIM;
    Random random = random_stream(seed, run);
    Codebook codebook(static_cast<size_t>(rows) * AS_DIM);
    std::vector<double> apart(n, std::numeric_limits<double>::infinity());
    const auto place = [&](int r, const double *at) {
        float *row = codebook.data() + r * AS_DIM;
        if (!nearest_admissible(limits, r, at, row))
            return false;
        for (size_t i = 0; i < n; i++)
            apart[i] = std::min(apart[i], squared_distance(vectors.data() + i * AS_DIM, row));
        return true;
    };

    const double flat[AS_DIM] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    std::vector<bool> placed(static_cast<size_t>(rows));
    for (const GivenRow &given : limits.given)
        placed[static_cast<size_t>(given.row)] = place(given.row, flat);
    for (const Guard &guard : limits.guards) {
        double at[AS_DIM];
        std::copy_n(guard.vector, AS_DIM, at);
        if (!placed[static_cast<size_t>(guard.row)])
            placed[static_cast<size_t>(guard.row)] = place(guard.row, at);
    }
    for (int r = 0; r < rows; r++) {
        for (int trial = 0; !placed[static_cast<size_t>(r)]; trial++) {
            if (trial == 1000)
                throw std::runtime_error("no place for row " + std::to_string(r) + " among the vectors");
            double total = 0.0;
            for (double a : apart)
                total += std::isfinite(a) ? a : 0.0;
            size_t i = 0;
            if (total > 0.0) {
                double left = random.uniform() * total;
                while (i + 1 < n && left >= apart[i])
                    left -= apart[i++];
            } else {
                i = random.below(n); /* the first row of all, or fewer different vectors than rows */
            }
            double at[AS_DIM];
            std::copy_n(vectors.data() + i * AS_DIM, AS_DIM, at);
            placed[static_cast<size_t>(r)] = place(r, at);
        }
    }
    return codebook;
}

Training lloyd(VectorSet vectors, Codebook codebook, const Limits &limits, double least_gain, int max_passes,
               int threads)
{
    Training best;
    Partition cells;
    for (int pass = 0; pass < max_passes; pass++) {
        partition(vectors, codebook, threads, &cells);
        best.pass.push_back(cells.mean_cost);
        const bool first = pass == 0;
        const double gain = first ? 0.0 : (best.mean_cost - cells.mean_cost) / best.mean_cost;
        if (first || gain > 0.0) {
            best.codebook = codebook;
            best.mean_cost = cells.mean_cost;
        }
        if (cells.mean_cost == 0.0 || (!first && gain < least_gain))
            break;
        move_rows(cells, limits, &codebook);
        best.reseeded += fill_empty_cell(cells, limits, &codebook);
    }
    return best;
}

Training train(VectorSet vectors, const Limits &limits, const TrainingPlan &plan)
{
    const size_t n = vectors.size() / AS_DIM;
    if (n == 0)
        throw std::runtime_error("no vectors to train on");
    const auto tell = [&](const std::string &text) {
        if (plan.progress)
            plan.progress(text);
    };

    Training best;
    double worst = 0.0;
    for (int run = 0; run < plan.restarts; run++) {
        Codebook start = starting_codebook(vectors, plan.rows, limits, plan.seed, static_cast<uint64_t>(run));
        Training found = lloyd(vectors, std::move(start), limits, plan.least_gain, ALL_PASSES, plan.threads);
        tell("restart " + std::to_string(run + 1) + " of " + std::to_string(plan.restarts) + ": " +
             std::to_string(found.pass.size()) + " passes, " + level_text(found.mean_cost));
        worst = std::max(worst, found.mean_cost);
        if (run == 0 || found.mean_cost < best.mean_cost)
            best = std::move(found);
    }
    best.worst_restart = worst;
    return best;
}

} // namespace talv

#include "training/report.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <limits>
#include <numeric>

namespace talv
{

namespace
{

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
[[gnu::format(printf, 1, 2)]] std::string formatted(const char *format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

double square_of(const float *row)
{
    double sum = 0.0;
    for (int d = 0; d < AS_DIM; d++)
        sum += static_cast<double>(row[d]) * static_cast<double>(row[d]);
    return sum;
}

} // namespace

double distortion_db(double mean_cost)
{
    return 10.0 * std::log10(AS_DIM / mean_cost);
}

std::string row_statistics(const Codebook &codebook)
{
    const size_t rows = codebook.size() / AS_DIM;
    const auto row = [&](size_t r) { return codebook.data() + r * AS_DIM; };
    std::vector<double> level(rows), neighbour(rows, std::numeric_limits<double>::infinity());
    size_t peaks[AS_DIM] = {}, above_two = 0, none_above = 0;
    double harmonic[AS_DIM] = {};
    for (size_t r = 0; r < rows; r++) {
        level[r] = square_of(row(r)) / AS_DIM;
        for (size_t q = 0; q < rows; q++)
            if (q != r)
                neighbour[r] = std::min(neighbour[r], distance(row(r), row(q)));
        const float *peak = std::max_element(row(r), row(r) + AS_DIM);
        peaks[peak - row(r)]++;
        above_two += *peak > 2.0f;
        none_above += *peak <= 1.2f;
        for (size_t d = 0; d < AS_DIM; d++)
            harmonic[d] += static_cast<double>(row(r)[d]) / static_cast<double>(rows);
    }
    const auto spread = [&](const std::vector<double> &v) {
        const auto [low, high] = std::minmax_element(v.begin(), v.end());
        return formatted("%.5f (row %td) to %.5f (row %td), mean %.5f\n", *low, low - v.begin(), *high,
                         high - v.begin(), std::accumulate(v.begin(), v.end(), 0.0) / static_cast<double>(v.size()));
    };
    const auto [low, high] = std::minmax_element(codebook.begin(), codebook.end());
    std::string text = "Rows\n";
    text +=
        formatted("  elements              %.6g (row %td) to %.6g (row %td)\n", static_cast<double>(*low),
                  (low - codebook.begin()) / AS_DIM, static_cast<double>(*high), (high - codebook.begin()) / AS_DIM);
    text += "  mean square           " + spread(level);
    text += "  nearest neighbour at  " + spread(neighbour);
    text += formatted("  rows above 2 / with nothing above 1.2: %zu / %zu\n", above_two, none_above);
    text += "  harmonic           ";
    for (int d = 1; d <= AS_DIM; d++)
        text += formatted(" %7d", d);
    text += "\n  peak of so many rows";
    for (size_t n : peaks)
        text += formatted("%7zu ", n);
    text += "\n  mean of the rows    ";
    for (double h : harmonic)
        text += formatted("%7.4f ", h);
    text += "\n  mean distance of rows whose numbers differ in bit 0, 1, ...:";
    for (size_t bit = 1; bit < rows; bit <<= 1) {
        double sum = 0.0;
        for (size_t r = 0; r < rows; r++)
            sum += (r ^ bit) < rows ? distance(row(r), row(r ^ bit)) : 0.0;
        text += formatted(" %.3f", sum / static_cast<double>(rows));
    }
    return text + "\n";
}

std::string limit_costs(const Codebook &codebook, const Limits &limits, const Partition &cells)
{
    /* one kind of limit at a time, but for `all`: the rows as they are */
    Limits elements = no_limits(), level = no_limits(), guards = no_limits();
    elements.element_min = limits.element_min;
    elements.element_max = limits.element_max;
    level.square_min = limits.square_min;
    level.square_max = limits.square_max;
    guards.guards = limits.guards;

    struct Kind {
        const char *name;
        const Limits *limits; /* nullptr: the row as it is */
        bool given;           /* looks at the given rows, or at the free ones */
        size_t rows = 0;
        double excess = 0.0;
    };
    Kind kinds[] = {{"given rows", nullptr, true},
                    {"free rows, all limits", nullptr, false},
                    {"  level alone", &level, false},
                    {"  elements alone", &elements, false},
                    {"  guards alone", &guards, false}};
    double vectors = 0.0, total = 0.0;
    for (size_t r = 0; r < cells.count.size(); r++) {
        const double n = static_cast<double>(cells.count[r]);
        vectors += n;
        total += cells.cost[r];
        if (cells.count[r] == 0)
            continue;
        double centroid[AS_DIM];
        for (size_t d = 0; d < AS_DIM; d++)
            centroid[d] = cells.sum[r * AS_DIM + d] / n;
        for (Kind &kind : kinds) {
            if (kind.given != (find_given(limits, static_cast<int>(r)) != nullptr))
                continue;
            float place[AS_DIM];
            std::copy_n(codebook.data() + r * AS_DIM, AS_DIM, place);
            if (kind.limits)
                nearest_admissible(*kind.limits, static_cast<int>(r), centroid, place);
            double off = 0.0;
            for (size_t d = 0; d < AS_DIM; d++)
                off += (static_cast<double>(place[d]) - centroid[d]) * (static_cast<double>(place[d]) - centroid[d]);
            kind.rows += off > 1e-4; /* a hundredth of the scale: less is what the last pass left */
            kind.excess += n * off;
        }
    }
    std::string text = "Cost of the limits on the training vectors, against rows at their centroids\n";
    for (const Kind &kind : kinds)
        text += formatted("  %-22s %3zu rows off their centroids, %.4f dB\n", kind.name, kind.rows,
                          distortion_db((total - kind.excess) / vectors) - distortion_db(total / vectors));
    return text;
}

std::string row_usage(const Partition &training, const Partition &validation)
{
    const auto share = [](const Partition &cells, size_t r) {
        const uint64_t all = std::accumulate(cells.count.begin(), cells.count.end(), uint64_t{0});
        return all > 0 ? 100.0 * static_cast<double>(cells.count[r]) / static_cast<double>(all) : 0.0;
    };
    std::string text = "Use of the rows in per cent, training / validation (even use: " +
                       formatted("%.2f)", 100.0 / static_cast<double>(training.count.size()));
    for (size_t r = 0; r < training.count.size(); r++) {
        if (r % 8 == 0)
            text += formatted("\n  %3zu", r);
        text += formatted("  %.2f/%.2f", share(training, r), share(validation, r));
    }
    return text + "\n";
}

} // namespace talv

/* talv_train_amplitudes: train the amplitude codebook on a folder of speech. training/README.md tells how to use it. */
#include "dsp/vq.h"
#include "training/collection.h"
#include "training/order.h"
#include "training/report.h"
#include "training/table_file.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

namespace talv
{

namespace
{

const char USAGE[] = "Usage: talv_train_amplitudes [options] FOLDER\n"
                     "\n"
                     "Train the amplitude codebook on the recordings in FOLDER (8 kHz) and report on it.\n"
                     "\n"
                     "  -o, --output FILE     write the table as a header, as it stands in dsp/as_codebook.h\n"
                     "  -m, --manifest FILE   CSV file that tells who speaks in each recording\n"
                     "  -s, --seed N          of the split and of the starts (1)\n"
                     "  -r, --restarts N      starts, of which the best is kept (32)\n"
                     "  -t, --threads N       (as many as there are processors)\n"
                     "      --measure FILE    train nothing: report on the table in a header that is there\n"
                     "  -h, --help            print this text\n";

constexpr int ORDER_STARTS = 100;

struct Options {
    std::string folder, manifest, output, measured;
    uint64_t seed = 1;
    int restarts = 32;
    int threads = 1;
};

/** A whole number of the command line, in lo..hi */
uint64_t number(const std::string &option, const std::string &text, uint64_t lo, uint64_t hi)
{
    char *end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] < '0' || text[0] > '9' || *end != '\0' || value < lo || value > hi)
        throw std::runtime_error(option + ": " + text + " is not a whole number from " + std::to_string(lo) + " to " +
                                 std::to_string(hi));
    return value;
}

Options parse(int argc, char **argv)
{
    Options options;
    options.threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 64);
    for (int i = 1; i < argc; i++) {
        const std::string arg = argv[i];
        const auto is = [&](const char *brief, const char *full) { return arg == brief || arg == full; };
        const auto value = [&]() -> std::string {
            if (i + 1 == argc)
                throw std::runtime_error(arg + ": a value is missing");
            return argv[++i];
        };
        if (is("-h", "--help")) {
            std::fputs(USAGE, stdout);
            std::exit(0); // NOLINT(concurrency-mt-unsafe): no thread has begun
        } else if (is("-o", "--output")) {
            options.output = value();
        } else if (is("-m", "--manifest")) {
            options.manifest = value();
        } else if (is("-s", "--seed")) {
            options.seed = number(arg, value(), 0, UINT64_MAX);
        } else if (is("-r", "--restarts")) {
            options.restarts = static_cast<int>(number(arg, value(), 1, 10000));
        } else if (is("-t", "--threads")) {
            options.threads = static_cast<int>(number(arg, value(), 1, 64));
        } else if (arg == "--measure") {
            options.measured = value();
        } else if (!arg.empty() && arg[0] == '-') {
            throw std::runtime_error(arg + ": no such option; --help tells them");
        } else if (options.folder.empty()) {
            options.folder = arg;
        } else {
            throw std::runtime_error(arg + ": one folder is enough");
        }
    }
    if (options.folder.empty())
        throw std::runtime_error("no folder given; --help tells how to use this program");
    return options;
}

/** One line on the terminal that is written over and over; nothing at all elsewhere */
void show_progress(const std::string &text)
{
    static const bool terminal = isatty(STDERR_FILENO) != 0;
    if (terminal)
        std::fprintf(stderr, "\r\033[K%s", text.c_str());
}

std::string decibel(double db)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f dB", db);
    return text;
}

std::string fixed(double v, int decimals)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.*f", decimals, v);
    return text;
}

/** The free rows put in an order that makes bit errors harmless */
Codebook ordered(const Codebook &codebook, const std::vector<uint64_t> &count, const Limits &limits, uint64_t seed,
                 RowOrder *order)
{
    std::vector<bool> movable(AS_ROWS, true);
    for (const GivenRow &given : limits.given)
        movable[static_cast<size_t>(given.row)] = false;
    for (const Guard &guard : limits.guards)
        movable[static_cast<size_t>(guard.row)] = false;
    *order = order_rows(codebook, count, movable, seed, ORDER_STARTS);
    Codebook sorted;
    for (int from : order->from)
        sorted.insert(sorted.end(), codebook.begin() + from * AS_DIM, codebook.begin() + (from + 1) * AS_DIM);
    return sorted;
}

/** What the comment above the table says of its origin */
std::vector<std::pair<std::string, std::string>> origin_of(const Options &options, const Collection &data,
                                                           const Partition &training, const Partition &validation,
                                                           double free_validation_cost, const Training &trained,
                                                           const RowOrder &order)
{
    std::set<std::string> sources, languages;
    for (const Recording &recording : data.recordings) {
        sources.insert(recording.source);
        if (recording.language != "?")
            languages.insert(recording.language.substr(0, recording.language.find(' ')));
    }
    std::string list;
    for (const std::string &source : sources)
        list += (list.empty() ? "" : ", ") + source;
    const size_t n_training = data.training.recording.size(), n_validation = data.validation.recording.size();

    std::vector<std::pair<std::string, std::string>> origin;
    origin.emplace_back("Rows",
                        "0, 3, 7 and 127 are given: they are part of the stream format. The others are trained, "
                        "within the limits that training/limits.h tells.");
    std::string data_text = fixed(data.minutes, 0) + " minutes of speech at 8 kHz, " + std::to_string(data.speakers) +
                            " speakers or groups of speakers";
    if (!languages.empty())
        data_text += ", " + std::to_string(languages.size()) + " languages";
    if (list != "?")
        data_text += " (" + list + ")";
    data_text += ": " + std::to_string(n_training + n_validation) + " vectors from frames that hold speech, " +
                 std::to_string(n_validation) + " of them, those of every fifth speaker, kept for validation.";
    origin.emplace_back("Data", data_text);
    origin.emplace_back(
        "Method", "generalised Lloyd algorithm under plain squared error, from k-means++ starts, the best of " +
                      std::to_string(options.restarts) + " on the training vectors (" +
                      std::to_string(trained.pass.size()) + " passes, " + std::to_string(trained.reseeded) +
                      " cells reseeded). The encoder that measured the vectors had training/neutral for its table.");
    origin.emplace_back("Order", "pseudo-Gray, the free rows: a wrong bit of the index moves the row by a mean squared "
                                 "distance of " +
                                     fixed(order.cost, 3) + ", in a random order by " + fixed(order.random_cost, 3) +
                                     ".");
    std::string command = "talv_train_amplitudes";
    if (!options.manifest.empty())
        command += " --manifest SPEECH.csv";
    command += " --seed " + std::to_string(options.seed) + " --restarts " + std::to_string(options.restarts) +
               " --output dsp/as_codebook.h SPEECH";
    origin.emplace_back("Command", command);
    std::string figures =
        "10 log10 of 10 over the mean squared distance: " + decibel(distortion_db(training.mean_cost)) +
        " on training speakers";
    if (n_validation > 0)
        figures += ", " + decibel(distortion_db(validation.mean_cost)) + " on validation speakers, where " +
                   decibel(distortion_db(free_validation_cost)) +
                   " is what 128 rows free of all limits reach, trained likewise";
    origin.emplace_back("Figures", figures + ".");
    return origin;
}

void report_table(const Collection &data, const Codebook &codebook, const Partition &training,
                  const Partition &validation)
{
    std::printf("%s\n%s\n%s", distortion_by_group(data, codebook, training, validation).c_str(),
                row_statistics(codebook).c_str(), row_usage(training, validation).c_str());
}

void run(const Options &options)
{
    /* before minutes of work, not after them */
    if (!options.output.empty() && !std::ofstream(options.output, std::ios::app))
        throw std::runtime_error(options.output + ": cannot be written");

    const Collection data =
        collect(options.folder, options.manifest, options.seed, options.threads, [](size_t done, size_t all) {
            show_progress("analysing: " + std::to_string(done) + " of " + std::to_string(all) + " recordings");
        });
    show_progress("");
    std::printf("%zu recordings, %.1f minutes, %d speakers; %zu frames, of which %zu hold speech: %zu for training, "
                "%zu for validation\n\n",
                data.recordings.size(), data.minutes, data.speakers, data.frames,
                data.training.recording.size() + data.validation.recording.size(), data.training.recording.size(),
                data.validation.recording.size());

    if (!options.measured.empty()) {
        const Codebook codebook = read_table(options.measured);
        report_table(data, codebook, quantise(data.training, codebook), quantise(data.validation, codebook));
        return;
    }

    const Limits limits = table_limits();
    TrainingPlan plan;
    plan.rows = AS_ROWS;
    plan.seed = options.seed;
    plan.restarts = options.restarts;
    plan.threads = options.threads;
    plan.progress = [](const std::string &text) { show_progress("training: " + text); };
    const Training trained = train(data.training.vectors, limits, plan);
    plan.progress = [](const std::string &text) { show_progress("training without limits: " + text); };
    const Training unlimited = train(data.training.vectors, no_limits(), plan);
    show_progress("");

    Partition cells;
    partition(data.training.vectors, trained.codebook, options.threads, &cells);
    RowOrder order;
    const Codebook codebook = ordered(trained.codebook, cells.count, limits, options.seed, &order);
    for (int r = 0; r < AS_ROWS; r++)
        if (!admissible(limits, r, codebook.data() + r * AS_DIM))
            throw std::logic_error("row " + std::to_string(r) + " breaks its limits");

    const Partition training = quantise(data.training, codebook), validation = quantise(data.validation, codebook);
    const Partition free_training = quantise(data.training, unlimited.codebook);
    const Partition free_validation = quantise(data.validation, unlimited.codebook);
    std::printf("Best of %d restarts: %zu passes, %d cells reseeded; training distortion %.3f dB, poorest restart "
                "%.3f dB\n",
                options.restarts, trained.pass.size(), trained.reseeded, distortion_db(trained.mean_cost),
                distortion_db(trained.worst_restart));
    std::printf("Without limits: %.3f dB on training speakers", distortion_db(free_training.mean_cost));
    if (!data.validation.recording.empty())
        std::printf(", %.3f dB on validation speakers", distortion_db(free_validation.mean_cost));
    std::printf("\nOne wrong bit of the index: mean squared distance %.3f, %.3f in random order\n\n", order.cost,
                order.random_cost);
    std::printf("%s\n", limit_costs(trained.codebook, limits, cells).c_str());
    report_table(data, codebook, training, validation);
    std::printf("\nChecksum of the table: 0x%08X\n", table_checksum(codebook));

    if (!options.output.empty()) {
        std::ofstream out(options.output, std::ios::binary);
        out << header_text(codebook,
                           origin_of(options, data, training, validation, free_validation.mean_cost, trained, order));
        out.close();
        if (!out)
            throw std::runtime_error(options.output + ": cannot be written");
    }
}

} // namespace

} // namespace talv

int main(int argc, char **argv)
{
    try {
        talv::run(talv::parse(argc, argv));
        return 0;
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "talv_train_amplitudes: %s\n", failure.what());
        return 1;
    }
}

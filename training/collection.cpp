#include "training/collection.h"

#include "dsp/vq.h"
#include "training/amplitudes.h"
#include "training/parallel.h"
#include "training/report.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <mutex>
#include <stdexcept>

namespace talv
{

namespace
{

/** Squared distance of a vector to its row */
double cost_of(const Side &side, const Codebook &codebook, const Partition &cells, size_t i)
{
    const float *x = side.vectors.data() + i * AS_DIM;
    const float *row = codebook.data() + static_cast<size_t>(cells.nearest[i]) * AS_DIM;
    double sum = 0.0;
    for (size_t d = 0; d < AS_DIM; d++) {
        const double t = static_cast<double>(x[d]) - static_cast<double>(row[d]);
        sum += t * t;
    }
    return sum;
}

/** Vectors and squared distances of one group */
struct Tally {
    size_t n[2] = {0, 0}; /* training, validation */
    double cost[2] = {0.0, 0.0};

    std::string line(const std::string &name) const
    {
        char text[160];
        int used = std::snprintf(text, sizeof text, "  %-22s", name.substr(0, 22).c_str());
        for (size_t s = 0; s < 2; s++) {
            char *at = text + used;
            const size_t room = sizeof text - static_cast<size_t>(used);
            if (n[s] > 0)
                used +=
                    std::snprintf(at, room, " %9zu %8.3f", n[s], distortion_db(cost[s] / static_cast<double>(n[s])));
            else
                used += std::snprintf(at, room, " %9s %8s", "-", "-");
        }
        return std::string(text) + "\n";
    }
};

} // namespace

Collection collect(const std::string &folder, const std::string &manifest, uint64_t seed, int threads,
                   const std::function<void(size_t, size_t)> &progress)
{
    Collection c;
    c.recordings = find_recordings(folder, manifest);
    c.speakers = split_by_speaker(c.recordings, seed);

    std::vector<std::vector<AmplitudeFrame>> analysed(c.recordings.size());
    std::vector<size_t> samples(c.recordings.size());
    std::mutex lock;
    size_t done = 0;
    for_each_piece(threads, c.recordings.size(), [&](size_t i) {
        const std::vector<int16_t> pcm = read_pcm(c.recordings[i].path.string());
        samples[i] = pcm.size();
        analysed[i] = analyse_amplitudes(pcm);
        const std::lock_guard<std::mutex> hold(lock);
        progress(++done, c.recordings.size());
    });

    for (size_t i = 0; i < c.recordings.size(); i++) {
        Side &side = c.recordings[i].validation ? c.validation : c.training;
        const float threshold = speech_threshold(analysed[i]);
        for (const AmplitudeFrame &frame : analysed[i]) {
            if (frame.rms < threshold)
                continue;
            side.vectors.insert(side.vectors.end(), frame.amplitude, frame.amplitude + AS_DIM);
            side.recording.push_back(i);
        }
        c.frames += analysed[i].size();
        c.minutes += static_cast<double>(samples[i]) / (60.0 * 8000.0);
    }
    if (c.training.recording.empty())
        throw std::runtime_error(folder + ": no speech in it");
    return c;
}

Partition quantise(const Side &side, const Codebook &codebook)
{
    const size_t n = side.recording.size(), rows = codebook.size() / AS_DIM;
    Partition cells;
    cells.count.assign(rows, 0);
    cells.cost.assign(rows, 0.0);
    cells.nearest.resize(n);
    double total = 0.0;
    for (size_t i = 0; i < n; i++) {
        float vector[AS_DIM];
        std::copy_n(side.vectors.data() + i * AS_DIM, AS_DIM, vector);
        vq_search(AS_DIM, AS_DIM, vector, static_cast<int>(rows), codebook.data(), &cells.nearest[i]);
        const double cost = cost_of(side, codebook, cells, i);
        cells.count[static_cast<size_t>(cells.nearest[i])]++;
        cells.cost[static_cast<size_t>(cells.nearest[i])] += cost;
        total += cost;
    }
    cells.mean_cost = n > 0 ? total / static_cast<double>(n) : 0.0;
    return cells;
}

std::string distortion_by_group(const Collection &collection, const Codebook &codebook, const Partition &training,
                                const Partition &validation)
{
    Tally all;
    std::map<std::string, Tally> by_source, by_language, by_sex;
    const Side *sides[] = {&collection.training, &collection.validation};
    const Partition *cells[] = {&training, &validation};
    for (size_t s = 0; s < 2; s++)
        for (size_t i = 0; i < sides[s]->recording.size(); i++) {
            const Recording &recording = collection.recordings[sides[s]->recording[i]];
            const double cost = cost_of(*sides[s], codebook, *cells[s], i);
            for (Tally *tally :
                 {&all, &by_source[recording.source], &by_language[recording.language], &by_sex[recording.sex]}) {
                tally->n[s]++;
                tally->cost[s] += cost;
            }
        }

    std::string text = "Distortion                training       dB validation       dB\n" + all.line("all");
    const struct {
        const char *title;
        const std::map<std::string, Tally> &groups;
    } tables[] = {{" by source", by_source}, {" by language", by_language}, {" by sex", by_sex}};
    for (const auto &table : tables) {
        text += std::string(table.title) + "\n";
        for (const auto &[name, tally] : table.groups)
            text += tally.line(name);
    }
    return text;
}

} // namespace talv

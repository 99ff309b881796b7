#include "coded_in.h"
#include "commands.h"
#include "ending.h"
#include "standard_streams.h"
#include "version.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <talvhost.h>

namespace talv
{
namespace
{

/* One line a frame: where its first sample lies in the recording and how many of its 240 belong to it, and the numbers
 * of the frame in the order of its bits. */
constexpr size_t COLUMNS = 4 + TALV_FRAME_FIELDS;
constexpr std::array<const char *, COLUMNS> NAMES = {"frame", "sample", "samples", "lost", "pitch", "lsf0", "lsf1",
                                                     "lsf2",  "lsf3",   "lsf4",    "lsf5", "lsf6",  "lsf7", "lsf8",
                                                     "lsf9",  "gain0",  "gain1",   "rs",   "as"};
using Row = std::array<int64_t, COLUMNS>;
enum { FRAME, SAMPLE, SAMPLES, LOST, FIELDS };

bool is_text(const std::string &path)
{
    return has_ending(path, ".csv") || has_ending(path, ".jsonl") || has_ending(path, ".json");
}

void to_text(const FramesJob &job)
{
    const bool json =
        job.format.empty() ? has_ending(job.out, ".jsonl") || has_ending(job.out, ".json") : job.format == "jsonl";
    CodedIn in(job.in);
    AtomicFile out(job.out);
    const auto put = [&out](std::string line) {
        line.push_back('\n');
        out.write(line.data(), line.size());
    };
    if (!json) {
        std::string header;
        for (const char *name : NAMES)
            header.append(header.empty() ? "" : ",").append(name);
        put(header);
    }
    CodedFrame frame;
    Row row{};
    int64_t sample = in.is_ogg() ? -in.head().pre_skip : 0;
    for (int64_t n = 0; in.read(frame); n++, sample += TALV_FRAME_SAMPLES) {
        row[FRAME] = n;
        row[SAMPLE] = sample;
        row[SAMPLES] = frame.count;
        row[LOST] = frame.lost;
        TALV_FrameFields fields;
        TALV_FrameUnpack(frame.bytes, &fields);
        int32_t flat[TALV_FRAME_FIELDS];
        std::memcpy(flat, &fields, sizeof flat);
        for (size_t k = 0; k < TALV_FRAME_FIELDS; k++)
            row[FIELDS + k] = flat[k];
        if (json) {
            nlohmann::ordered_json j = {{"frame", n},          {"sample", sample},      {"samples", frame.count},
                                        {"lost", frame.lost},  {"pitch", fields.pitch}, {"lsf", fields.lsf},
                                        {"gain", fields.gain}, {"rs", fields.rs},       {"as", fields.as}};
            put(j.dump());
        } else {
            std::string line;
            for (const int64_t value : row)
                line.append(line.empty() ? "" : ",").append(std::to_string(value));
            put(line);
        }
    }
    out.commit();
    if (in.damage().any())
        throw Failure(in.name(), in.damage().text() + "; the rest is written", Status::damaged);
}

/* Lines of a text, from a file or a pipe */
class Lines
{
public:
    explicit Lines(const std::string &path) : in_(path) {}
    const std::string &name() const { return in_.name(); }
    int64_t number() const { return number_; }

    bool next(std::string &line)
    {
        constexpr size_t LONGEST = 1 << 16;
        for (;;) {
            const size_t end = text_.find('\n', at_);
            if (end != std::string::npos) {
                line = text_.substr(at_, end - at_);
                at_ = end + 1;
            } else {
                text_.erase(0, at_);
                at_ = 0;
                char block[4096];
                const size_t n = in_.read_some(block, sizeof block);
                text_.append(block, n);
                if (n > 0 && text_.size() < LONGEST)
                    continue;
                if (n > 0)
                    throw Failure(name(), "is no text with a frame on each line", Status::alien);
                if (text_.empty())
                    return false;
                line = std::move(text_);
                text_.clear();
            }
            number_++;
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            if (!line.empty())
                return true;
        }
    }

private:
    InputFile in_;
    std::string text_;
    size_t at_ = 0;
    int64_t number_ = 0;
};

std::vector<std::string> split(const std::string &line)
{
    std::vector<std::string> cells(1);
    for (const char c : line) {
        if (c == ',')
            cells.emplace_back();
        else if (c != ' ' && c != '\t')
            cells.back().push_back(c);
    }
    return cells;
}

class Parser
{
public:
    explicit Parser(Lines &lines) : lines_(lines) {}

    /* false: the line is a header */
    bool parse(const std::string &line, Row &row)
    {
        row = {};
        row[SAMPLES] = TALV_FRAME_SAMPLES;
        if (line.front() == '{')
            return parse_json(line, row);
        const std::vector<std::string> cells = split(line);
        if (order_.empty()) {
            for (const std::string &cell : cells)
                order_.push_back(column(cell));
            for (size_t k = FIELDS; k < COLUMNS; k++)
                if (std::find(order_.begin(), order_.end(), k) == order_.end())
                    throw wrong("has no column " + std::string(NAMES[k]));
            return false;
        }
        if (cells.size() != order_.size())
            throw wrong("has " + std::to_string(cells.size()) + " values in the place of " +
                        std::to_string(order_.size()));
        for (size_t i = 0; i < cells.size(); i++) {
            int64_t value = 0;
            const char *end = cells[i].data() + cells[i].size();
            if (order_[i] == COLUMNS)
                continue;
            if (const auto got = std::from_chars(cells[i].data(), end, value); got.ec != std::errc() || got.ptr != end)
                throw wrong("has '" + cells[i] + "' in the place of a number");
            row[order_[i]] = value;
        }
        return true;
    }

    Failure wrong(const std::string &what) const
    {
        return Failure(lines_.name(), "line " + std::to_string(lines_.number()) + " " + what, Status::alien);
    }

private:
    static size_t column(const std::string &name)
    {
        for (size_t k = 0; k < COLUMNS; k++)
            if (name == NAMES[k])
                return k;
        return COLUMNS; /* columns of the user's own are passed over */
    }

    /* Nothing else fits a row: a conversion of 1e300 would have no result, and that of 2.5 a wrong one. */
    int64_t whole(const nlohmann::json &value) const
    {
        const bool fits = value.is_number_unsigned() ? value.get<uint64_t>() <= INT64_MAX : value.is_number_integer();
        if (!fits)
            throw wrong("has a value that is no whole number");
        return value.get<int64_t>();
    }

    bool parse_json(const std::string &line, Row &row)
    {
        try {
            const nlohmann::json j = nlohmann::json::parse(line);
            row[SAMPLE] = j.contains("sample") ? whole(j.at("sample")) : 0;
            row[SAMPLES] = j.contains("samples") ? whole(j.at("samples")) : TALV_FRAME_SAMPLES;
            row[LOST] = j.value("lost", false);
            size_t k = FIELDS;
            row[k++] = whole(j.at("pitch"));
            for (size_t i = 0; i < 10; i++)
                row[k++] = whole(j.at("lsf").at(i));
            for (size_t i = 0; i < 2; i++)
                row[k++] = whole(j.at("gain").at(i));
            row[k++] = whole(j.at("rs"));
            row[k++] = whole(j.at("as"));
        } catch (const nlohmann::json::exception &) {
            throw wrong("is no frame");
        }
        return true;
    }

    Lines &lines_;
    std::vector<size_t> order_; /* of a CSV header: the column of each cell */
};

void from_text(const FramesJob &job)
{
    Lines lines(job.in);
    Parser parser(lines);
    std::string line;
    Row row{};
    std::unique_ptr<CodedOut> out;
    std::string held; /* the last frame, kept back until it is known whether it is the last */
    int64_t samples = 0;
    TALV_Conceal conceal;
    TALV_ConcealInit(&conceal);
    const auto open = [&](int64_t first_sample) {
        /* Limited first: INT64_MIN has no opposite. */
        const int64_t pre_skip = -std::clamp<int64_t>(first_sample, -65535, 0);
        out = std::make_unique<CodedOut>(job.out, job.coded, OggHead{static_cast<int>(pre_skip), 0},
                                         OggTags{VERSION, {}});
    };
    while (lines.next(line)) {
        if (!parser.parse(line, row))
            continue;
        if (!out)
            open(row[SAMPLE]);
        TALV_FrameFields fields;
        int32_t flat[TALV_FRAME_FIELDS];
        for (size_t k = 0; k < TALV_FRAME_FIELDS; k++) {
            const int64_t value = row[FIELDS + k];
            if (value < 0 || value > TALV_FrameFieldMax(static_cast<int32_t>(k)))
                throw parser.wrong("has " + std::to_string(value) + " for " + NAMES[FIELDS + k] + ", which is 0 to " +
                                   std::to_string(TALV_FrameFieldMax(static_cast<int32_t>(k))));
            flat[k] = static_cast<int32_t>(value);
        }
        std::memcpy(&fields, flat, sizeof fields);
        if (!held.empty())
            out->write(reinterpret_cast<const uint8_t *>(held.data()));
        held.resize(TALV_FRAME_BYTES);
        auto *frame = reinterpret_cast<uint8_t *>(held.data());
        TALV_FramePack(&fields, frame);
        if (row[LOST] != 0) /* its numbers mean nothing: what decoding would put there is written */
            TALV_ConcealLost(&conceal, frame);
        else
            TALV_ConcealReceived(&conceal, frame);
        if (row[SAMPLES] < 0 || row[SAMPLES] > TALV_FRAME_SAMPLES)
            throw parser.wrong("has " + std::to_string(row[SAMPLES]) + " samples, which is 0 to 240");
        samples += row[SAMPLES];
    }
    if (!out)
        open(0);
    out->set_length(samples);
    if (!held.empty())
        out->write(reinterpret_cast<const uint8_t *>(held.data()));
    out->commit();
}

} // namespace

void frames_command(const FramesJob &job)
{
    refuse_same_file(job.in, job.out);
    const auto coded = [](const std::string &path) { return has_ending(path, ".frames") || has_ending(path, ".talv"); };
    if (is_text(job.in) || coded(job.out) || job.coded.bare)
        from_text(job);
    else
        to_text(job);
}

} // namespace talv

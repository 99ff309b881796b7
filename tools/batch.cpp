#include "batch.h"

#include "ending.h"
#include "interrupt.h"
#include "standard_streams.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <talvcodec.h>
#include <thread>

namespace talv
{
namespace
{

namespace fs = std::filesystem;

bool has_any_ending(const fs::path &path, const std::vector<std::string> &endings)
{
    return std::any_of(endings.begin(), endings.end(),
                       [&](const std::string &ending) { return has_ending(path.extension().string(), ending); });
}

bool is_folder(const std::string &path)
{
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

/* All files of a folder with the right endings, in order, and their places beneath it. */
void walk(const std::string &folder, const fs::path &to, const std::string &ending,
          const std::vector<std::string> &endings, std::vector<BatchFile> &files)
{
    std::vector<fs::path> found;
    std::error_code error;
    for (fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, error), end;
         !error && it != end; it.increment(error))
        if (it->is_regular_file() && has_any_ending(it->path(), endings))
            found.push_back(it->path());
    if (error)
        throw Failure(folder, error.message(), Status::unreadable);
    std::sort(found.begin(), found.end());
    for (const fs::path &path : found) {
        fs::path out = to / path.lexically_relative(folder);
        files.push_back({path.string(), out.replace_extension(ending).string()});
    }
}

std::vector<BatchFile> plan(const BatchOptions &options, const std::string &ending,
                            const std::vector<std::string> &endings)
{
    std::vector<std::string> names = options.names;
    std::string folder = options.folder;
    if (folder.empty()) {
        if (names.size() < 2)
            throw Failure("an output is missing: a file, or --output-folder", Status::usage);
        const std::string last = names.back();
        names.pop_back();
        if (names.size() == 1 && !is_folder(last) && !last.ends_with('/') &&
            !(options.recursive && is_folder(names[0])))
            return {{names[0], last}};
        if (!is_folder(last) && !last.ends_with('/'))
            throw Failure(last, "is not a folder, and there are several inputs", Status::usage);
        folder = last;
    }
    std::vector<BatchFile> files;
    for (const std::string &name : names) {
        if (is_stdin(name))
            throw Failure(STDIN_NAME, "has no name that an output in a folder could take", Status::usage);
        if (options.recursive && is_folder(name))
            walk(name, folder, ending, endings, files);
        else
            files.push_back({name, (fs::path(folder) / fs::path(name).filename().replace_extension(ending)).string()});
    }
    return files;
}

bool is_done(const BatchFile &file)
{
    std::error_code error;
    const auto out = fs::last_write_time(file.out, error);
    if (error)
        return false;
    const auto in = fs::last_write_time(file.in, error);
    return !error && out >= in;
}

/* What was kept of a file is not all of it: dated before its input, it is done again by --resume. */
void date_before_input(const BatchFile &file, fs::file_time_type since)
{
    std::error_code error;
    if (!fs::is_regular_file(file.out, error) || !fs::is_regular_file(file.in, error) ||
        fs::last_write_time(file.out, error) < since)
        return;
    const auto in = fs::last_write_time(file.in, error);
    if (!error)
        fs::last_write_time(file.out, in - std::chrono::seconds(1), error);
}

std::string text_line(const std::string &what, const BatchFile &file, const FileReport &report, double took_s)
{
    char text[128];
    const double lasts = static_cast<double>(report.samples) / TALV_SAMPLE_RATE;
    std::snprintf(text, sizeof text, "%.2f s in %.4f s, %.0f times real time", lasts, took_s,
                  lasts / std::max(1e-9, took_s));
    return what + " " + (is_stdin(file.in) ? STDIN_NAME : file.in) + " -> " +
           (is_stdout(file.out) ? STDOUT_NAME : file.out) + ": " + text;
}

std::string json_line(const std::string &what, const BatchFile &file, const FileReport &report, double took_s,
                      Status status, const std::string &error, bool skipped)
{
    const double lasts = static_cast<double>(report.samples) / TALV_SAMPLE_RATE;
    nlohmann::ordered_json j = {{"command", what},
                                {"in", file.in},
                                {"out", file.out},
                                {"status", static_cast<int>(status)},
                                {"skipped", skipped}};
    if (!error.empty())
        j["error"] = error;
    if (!skipped) {
        j["duration_s"] = lasts;
        j["samples"] = report.samples;
        j["frames"] = report.frames;
        j["coded_bytes"] = report.bytes;
        j["took_s"] = took_s;
        if (lasts > 0)
            j["bit_rate"] = static_cast<double>(report.bytes) * 8 / lasts;
        if (report.has_level)
            j["active_level_dbov"] = report.level_dbov;
        j["warnings"] = report.warnings;
    }
    return j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

Status run_batch(const std::string &what, const BatchOptions &options, const std::string &ending,
                 const std::vector<std::string> &endings, const FileWork &work)
{
    if (options.keep_partial)
        keep_on_signals();
    const std::vector<BatchFile> files = plan(options, ending, endings);
    std::map<std::string, std::string> owners; /* output to input */
    for (const BatchFile &file : files)
        owners.try_emplace(fs::path(file.out).lexically_normal().string(), file.in);

    const bool data_on_stdout =
        std::any_of(files.begin(), files.end(), [](const BatchFile &file) { return is_stdout(file.out); });
    std::FILE *const lines = options.json ? take_report_stream(data_on_stdout) : nullptr;
    Progress progress(what, files.size(), options.quiet);
    std::vector<Status> statuses(files.size(), Status::done);
    std::atomic<size_t> next{0};
    const auto one = [&](size_t i) {
        const BatchFile &file = files[i];
        FileReport report;
        std::string error;
        bool skipped = false;
        const auto start = std::chrono::steady_clock::now();
        const auto since =
            fs::file_time_type::clock::now() - std::chrono::seconds(1); /* file systems' clocks are coarse */
        bool working = false;
        try {
            Progress::File part(progress);
            const std::string &owner = owners.at(fs::path(file.out).lexically_normal().string());
            if (owner != file.in)
                throw Failure(file.out, "is the output of " + owner + " already", Status::collision);
            skipped = options.resume && is_done(file);
            if (!skipped) {
                if (files.size() > 1 || !options.folder.empty() || options.names.back().ends_with('/')) {
                    std::error_code failed;
                    fs::create_directories(fs::path(file.out).parent_path(), failed);
                    if (failed)
                        throw Failure(fs::path(file.out).parent_path().string(), failed.message(), Status::unwritable);
                }
                working = true;
                work(file, report, part);
            }
        } catch (const Failure &failure) {
            statuses[i] = failure.status;
            error = failure.what();
            if (working && options.keep_partial && failure.status != Status::damaged)
                date_before_input(file, since);
        } catch (const std::exception &failure) {
            statuses[i] = Status::failed;
            error = file.in + ": " + failure.what();
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        if (!options.quiet)
            for (const std::string &warning : report.warnings)
                progress.say("talv: warning: " + (report.name.empty() ? file.in : report.name) + ": " + warning);
        if (!error.empty())
            progress.say("talv: " + error);
        if (options.json)
            progress.put(lines, json_line(what, file, report, took.count(), statuses[i], error, skipped));
        else if (error.empty() && !options.quiet)
            progress.say(skipped ? what + " " + file.in + " -> " + file.out + ": done already"
                                 : text_line(what, file, report, took.count()));
    };
    const auto worker = [&] {
        for (size_t i; interrupting_signal() == 0 && (i = next++) < files.size();)
            one(i);
    };
    std::vector<std::thread> threads;
    const size_t count = std::min(files.size(), static_cast<size_t>(std::max(1, options.jobs)));
    for (size_t k = 1; k < count; k++)
        threads.emplace_back(worker);
    worker();
    for (std::thread &thread : threads)
        thread.join();

    Status status = Status::done;
    for (const Status s : statuses)
        if (s != Status::done)
            status = status == Status::done || status == s ? s : Status::failed;
    return status;
}

} // namespace talv

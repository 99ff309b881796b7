#include "training/corpus.h"

#include "training/random.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <stdexcept>
#include <tuple>

namespace talv
{

namespace fs = std::filesystem;

namespace
{

const char UNKNOWN[] = "?";
constexpr size_t VALIDATION_STEP = 5;

/** What a manifest tells about one file */
struct Entry {
    std::string speaker, source, language, sex;
};

bool is_audio(const fs::path &path)
{
    static const std::set<std::string> endings = {".aif", ".aiff", ".au", ".caf", ".flac", ".oga", ".ogg", ".wav"};
    std::string ending = path.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return endings.count(ending) != 0;
}

/** "pt-BR" and "pt_BR" are "pt"; "en (L1 zh)" stays what it is */
std::string primary_language(const std::string &tag)
{
    return tag.substr(0, tag.find_first_of("-_"));
}

std::string plain_sex(std::string sex)
{
    while (sex.size() > 1 && (sex.back() == '~' || sex.back() == '?'))
        sex.pop_back();
    return sex;
}

std::map<fs::path, Entry> read_manifest(const fs::path &manifest)
{
    std::ifstream in(manifest);
    if (!in)
        throw std::runtime_error(manifest.string() + ": cannot be read");
    const auto next_line = [&](std::string &line) {
        if (!std::getline(in, line))
            return false;
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        return true;
    };

    std::string line;
    next_line(line);
    const std::vector<std::string> columns = csv_fields(line);
    const auto column = [&](const char *name) -> std::optional<size_t> {
        const auto found = std::find(columns.begin(), columns.end(), name);
        if (found == columns.end())
            return std::nullopt;
        return static_cast<size_t>(found - columns.begin());
    };
    const auto file = column("file"), speaker = column("speaker"), source = column("source");
    const auto language = column("language"), sex = column("sex");
    if (!file || !speaker)
        throw std::runtime_error(manifest.string() + ": no columns `file` and `speaker` in the first line");

    std::map<fs::path, Entry> entries;
    for (int number = 2; next_line(line); number++) {
        if (line.empty())
            continue;
        const std::vector<std::string> fields = csv_fields(line);
        if (fields.size() < columns.size())
            throw std::runtime_error(manifest.string() + ": line " + std::to_string(number) + " has " +
                                     std::to_string(fields.size()) + " fields, not " + std::to_string(columns.size()));
        const auto field = [&](std::optional<size_t> c) { return c && !fields[*c].empty() ? fields[*c] : UNKNOWN; };
        entries[fs::weakly_canonical(manifest.parent_path() / fields[*file])] = {
            field(speaker), field(source), primary_language(field(language)), plain_sex(field(sex))};
    }
    return entries;
}

/** Sets that grow together: find the representative of each */
struct DisjointSets {
    std::vector<size_t> parent;

    explicit DisjointSets(size_t n) : parent(n) { std::iota(parent.begin(), parent.end(), size_t{0}); }
    size_t find(size_t i)
    {
        while (parent[i] != i)
            i = parent[i] = parent[parent[i]];
        return i;
    }
    void join(size_t a, size_t b)
    {
        a = find(a);
        b = find(b);
        parent[std::max(a, b)] = std::min(a, b); /* the earliest recording stands for the set */
    }
};

} // namespace

std::vector<std::string> csv_fields(const std::string &line)
{
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"')
            fields.back() += line[++i];
        else if (c == '"')
            quoted = !quoted;
        else if (c == ',' && !quoted)
            fields.emplace_back();
        else
            fields.back() += c;
    }
    return fields;
}

std::vector<Recording> find_recordings(const fs::path &folder, const fs::path &manifest)
{
    if (!fs::is_directory(folder))
        throw std::runtime_error(folder.string() + ": not a folder");
    std::map<fs::path, Entry> entries;
    if (!manifest.empty())
        entries = read_manifest(manifest);

    std::vector<Recording> recordings;
    for (const fs::directory_entry &file : fs::recursive_directory_iterator(folder)) {
        if (!file.is_regular_file() || !is_audio(file.path()))
            continue;
        Recording r;
        r.path = file.path();
        r.name = file.path().lexically_relative(folder).generic_string();
        const auto found = entries.find(fs::weakly_canonical(r.path));
        if (found != entries.end()) {
            r.speaker = found->second.speaker;
            r.source = found->second.source;
            r.language = found->second.language;
            r.sex = found->second.sex;
        } else {
            r.source = r.language = r.sex = UNKNOWN;
        }
        if (r.speaker.empty() || r.speaker == UNKNOWN)
            r.speaker = r.name;
        recordings.push_back(r);
    }
    std::sort(recordings.begin(), recordings.end(),
              [](const Recording &a, const Recording &b) { return a.name < b.name; });
    return recordings;
}

int split_by_speaker(std::vector<Recording> &recordings, uint64_t seed)
{
    DisjointSets sets(recordings.size());
    std::map<std::string, size_t> first_of;
    for (size_t i = 0; i < recordings.size(); i++) {
        const std::string &names = recordings[i].speaker;
        for (size_t from = 0; from <= names.size();) {
            const size_t to = std::min(names.find('+', from), names.size());
            const auto [known, is_new] = first_of.emplace(names.substr(from, to - from), i);
            if (!is_new)
                sets.join(known->second, i);
            from = to + 1;
        }
    }

    std::vector<std::tuple<std::string, std::string, uint64_t, size_t>> speakers;
    for (size_t i = 0; i < recordings.size(); i++)
        if (sets.find(i) == i)
            speakers.emplace_back(recordings[i].source, recordings[i].sex, seeded_hash(seed, recordings[i].speaker), i);
    std::sort(speakers.begin(), speakers.end());

    std::set<size_t> validation;
    for (size_t k = VALIDATION_STEP / 2; k < speakers.size(); k += VALIDATION_STEP)
        validation.insert(std::get<3>(speakers[k]));
    for (size_t i = 0; i < recordings.size(); i++)
        recordings[i].validation = validation.count(sets.find(i)) != 0;
    return static_cast<int>(speakers.size());
}

} // namespace talv

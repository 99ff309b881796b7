/** A folder for a test's files, and files in one piece */
#ifndef TALV_TESTS_SUPPORT_FOLDER_H
#define TALV_TESTS_SUPPORT_FOLDER_H

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace talv_test
{

/** A new empty folder, removed with all that is in it at the end */
class Folder
{
public:
    Folder() : path_((std::filesystem::temp_directory_path() / "talv-test-XXXXXX").string())
    {
        if (!mkdtemp(path_.data()))
            throw std::runtime_error("no folder " + path_);
    }
    ~Folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

    /** The names in it, hidden ones too, in order */
    std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(path_))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

private:
    std::string path_;
};

inline std::string read_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** Write a file, and make the folder that it is to be in */
inline void write_file(const std::string &path, const std::string &bytes)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace talv_test

#endif

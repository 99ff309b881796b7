/** Endings of file names, which tell a format: .wav and .WAV alike */
#ifndef TALV_TOOLS_ENDING_H
#define TALV_TOOLS_ENDING_H

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace talv
{

/** Does a path end so? ending is in small letters, as in ".wav" */
inline bool has_ending(const std::string &path, std::string_view ending)
{
    return path.size() >= ending.size() &&
           std::equal(ending.rbegin(), ending.rend(), path.rbegin(),
                      [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

} // namespace talv

#endif

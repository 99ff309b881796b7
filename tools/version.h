/** The tool's name and version in one word each, as in "talv 0.1.0" */
#ifndef TALV_TOOLS_VERSION_H
#define TALV_TOOLS_VERSION_H

#include <talvcodec.h>

namespace talv
{

#define TALV_TEXT(number) TALV_TEXT_OF(number)
#define TALV_TEXT_OF(number) #number
inline constexpr const char *VERSION =
    "talv " TALV_TEXT(TALV_VERSION_MAJOR) "." TALV_TEXT(TALV_VERSION_MINOR) "." TALV_TEXT(TALV_VERSION_PATCH);

} // namespace talv

#endif

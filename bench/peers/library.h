/** A talvcodec library, loaded by its file name
 *
 *  The programs of this folder load the library when they run, so that one program can measure several builds of it,
 *  and can measure the loading itself.
 */
#ifndef TALV_BENCH_PEERS_LIBRARY_H
#define TALV_BENCH_PEERS_LIBRARY_H

#include <talvcodec.h>

#include <dlfcn.h>
#include <memory>
#include <stdexcept>
#include <string>

namespace talv::bench
{

/** The calls of one loaded library; they stay good until the process ends */
struct Library {
    decltype(&TALV_CodecOpen) open;
    decltype(&TALV_CodecClose) close;
    decltype(&TALV_SpeechEncode) encode;
    decltype(&TALV_SpeechDecode) decode;
};

/** Load a library and find its calls, all symbols bound at once
 *
 *  path     I    file name; one without a slash is looked for as the system does
 *  return        the calls; throws std::runtime_error when the file cannot be loaded or is another library
 */
inline Library load_library(const std::string &path)
{
    void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        throw std::runtime_error(dlerror());
    const auto find = [&](const char *name) {
        void *routine = dlsym(handle, name);
        if (routine == nullptr)
            throw std::runtime_error(path + ": no " + name);
        return routine;
    };
    Library library;
    library.open = reinterpret_cast<decltype(library.open)>(find("TALV_CodecOpen"));
    library.close = reinterpret_cast<decltype(library.close)>(find("TALV_CodecClose"));
    library.encode = reinterpret_cast<decltype(library.encode)>(find("TALV_SpeechEncode"));
    library.decode = reinterpret_cast<decltype(library.decode)>(find("TALV_SpeechDecode"));
    return library;
}

/** A new instance, closed with its last owner */
inline std::shared_ptr<TALV_Codec> open_instance(const Library &library)
{
    TALV_Codec *codec = nullptr;
    if (library.open(&codec) != TALV_OK)
        throw std::runtime_error("no memory for an instance");
    return {codec, library.close};
}

} // namespace talv::bench

#endif

# WebAssembly by Debian's emscripten. Its C++ headers (libc++ 13) lack std::bit_cast, which bit_cast.h adds.
include(/usr/share/emscripten/cmake/Modules/Platform/Emscripten.cmake)
set(CMAKE_CXX_FLAGS_INIT "-include \"${CMAKE_CURRENT_LIST_DIR}/bit_cast.h\"")
# More at the link would be the work of tools in JavaScript that Debian packs apart; code is compiled as it is told to be.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-O1")

# GNU/Linux with the musl C library, by Debian's musl-tools on x86-64 or another processor that has them.
#
# Debian has musl for C alone. The codec takes templates from the C++ headers and nothing from the C++ library, so the
# headers of g++ serve: behind musl's own, and told of the one thing of glibc that their configuration asks for.
execute_process(COMMAND g++ -dumpmachine OUTPUT_VARIABLE talv_machine OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE talv_gxx_version OUTPUT_STRIP_TRAILING_WHITESPACE)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${talv_machine}")
set(CMAKE_SYSTEM_NAME Linux)
set(talv_musl "${CMAKE_SYSTEM_PROCESSOR}-linux-musl")
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_CXX_FLAGS_INIT "-specs=/usr/lib/${talv_musl}/musl-gcc.specs \"-D__GLIBC_PREREQ(a,b)=0\" -isystem /usr/include/c++/${talv_gxx_version} -isystem /usr/include/${talv_machine}/c++/${talv_gxx_version} -isystem /usr/include/${talv_musl}")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

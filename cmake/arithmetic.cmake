# The arithmetic that every build shares. The order of each sum stands in the source and the compiler must keep it: no
# contraction into fused operations, no reassociation, no excess precision. -fno-math-errno lets a square root be one
# instruction and changes no result.
add_library(talv_arithmetic INTERFACE)
target_compile_options(talv_arithmetic INTERFACE -ffp-contract=off -fno-fast-math -fno-math-errno)
# GCC 12's straight-line vectoriser once gave an earlier post-filter other samples at -O3, and the cause was not found.
# Without it nothing is slower: what is to run side by side is written so.
target_compile_options(talv_arithmetic INTERFACE $<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize>)
# 32-bit x86, whose older unit computes in 80 bits. (Emscripten names its processor x86 too.)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86|x86_64|AMD64)$"
    AND NOT CMAKE_SYSTEM_NAME STREQUAL "Emscripten")
  target_compile_options(talv_arithmetic INTERFACE -msse2 -mfpmath=sse)
endif()

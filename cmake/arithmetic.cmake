# The arithmetic that every build shares. The order of each sum stands in the source and the compiler must keep it: no
# contraction into fused operations, no reassociation, no excess precision. -fno-math-errno lets a square root be one
# instruction and changes no result.
add_library(talv_arithmetic INTERFACE)
target_compile_options(talv_arithmetic INTERFACE -ffp-contract=off -fno-fast-math -fno-math-errno)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86)$" OR (CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$"))
  target_compile_options(talv_arithmetic INTERFACE -msse2 -mfpmath=sse)
endif()

# As linux-cross.cmake, compiled by clang; headers and libraries are those of Debian's GNU cross compiler.
include("${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake")
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET ${TALV_CROSS})
set(CMAKE_CXX_COMPILER_TARGET ${TALV_CROSS})

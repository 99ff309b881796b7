# GNU/Linux on another processor by Debian's cross compilers: -D TALV_CROSS=aarch64-linux-gnu, s390x-linux-gnu and so on.
# Programs are linked statically, so that they run where the target's C library is not installed.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TALV_CROSS)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${TALV_CROSS}")
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TALV_CROSS}-gcc)
set(CMAKE_CXX_COMPILER ${TALV_CROSS}-g++)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

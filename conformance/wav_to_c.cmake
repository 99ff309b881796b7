# Write recordings as a C source file, so that a machine without files can hear them.
#
#   cmake -D OUTPUT=speech.c -D "INPUTS=a.wav;b.wav" -P wav_to_c.cmake
#
# a.wav becomes speech_a and speech_a_length. Only what the bundled recordings are is read: RIFF/WAVE, 16-bit PCM, mono,
# 8 kHz, the samples right behind a 44-byte header.
cmake_minimum_required(VERSION 3.25)
set(text "/* Written by wav_to_c.cmake from the bundled recordings */\n#include \"speech.h\"\n")
foreach(input IN LISTS INPUTS)
  get_filename_component(name "${input}" NAME_WE)
  file(READ "${input}" header LIMIT 44 HEX)
  # "RIFF" size "WAVE" "fmt " 16, PCM, mono, 8000 Hz, 16000 bytes a second, 2 bytes a sample, 16 bits, "data" size
  if(NOT header MATCHES "^52494646........57415645666d74201000000001000100401f0000803e00000200100064617461(..)(..)(..)(..)$")
    message(FATAL_ERROR "${input}: not a WAVE file of 16-bit mono PCM at 8 kHz with a 44-byte header")
  endif()
  math(EXPR length "0x${CMAKE_MATCH_4}${CMAKE_MATCH_3}${CMAKE_MATCH_2}${CMAKE_MATCH_1} / 2")
  math(EXPR nbytes "2 * ${length}")
  file(SIZE "${input}" size)
  math(EXPR expected_size "44 + ${nbytes}")
  if(size LESS expected_size)
    message(FATAL_ERROR "${input}: shorter than its header says")
  endif()
  file(READ "${input}" data OFFSET 44 LIMIT ${nbytes} HEX)
  # Two's complement in 16 bits to a value that fits: 0x8000 and above are 65536 less.
  string(REGEX REPLACE "(..)(..)" "0x\\2\\1," values "${data}")
  string(REGEX REPLACE "0x([89a-f]...)," "0x\\1 -65536," values "${values}")
  string(REGEX REPLACE "[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*,[^,]*," "\\0\n" values "${values}")
  string(APPEND text "\nconst int16_t speech_${name}[${length}] = {\n${values}\n};\nconst int32_t speech_${name}_length = ${length};\n")
endforeach()
file(WRITE "${OUTPUT}" "${text}")

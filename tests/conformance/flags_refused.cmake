# flags.cmake refuses what it is there to refuse.  cmake -D CHECK=flags.cmake -D FOLDER=... -P flags_refused.cmake
cmake_minimum_required(VERSION 3.25)
set(failures "")

# try(<verdict> <x87> <flags>): one source, compiled with these flags
function(try verdict x87 flags)
  file(WRITE "${FOLDER}/one_command.json"
    "[{\"file\": \"/r/dsp/a.cpp\", \"command\": \"c++ ${flags} -o b/lib.dir/dsp/a.cpp.o -c /r/dsp/a.cpp\"}]")
  execute_process(COMMAND "${CMAKE_COMMAND}" -D "COMMANDS=${FOLDER}/one_command.json" -D TARGETS=lib
      -D "SOURCES=dsp/a.cpp${ARGN}" -D ROOT=/r -D X87=${x87} -P "${CHECK}"
    RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(status EQUAL 0)
    set(got accepted)
  else()
    set(got refused)
  endif()
  if(NOT got STREQUAL verdict)
    set(failures "${failures}${flags} (x87 ${x87}) ${ARGN}: got ${got}, wanted ${verdict}\n" PARENT_SCOPE)
  endif()
endfunction()

set(pinned "-O2 -ffp-contract=off -fno-fast-math")
try(accepted OFF "${pinned}")
try(accepted ON "${pinned} -msse2 -mfpmath=sse")
try(refused OFF "-O2")
try(refused OFF "${pinned} -ffp-contract=fast")
try(refused OFF "${pinned} -ffast-math")
try(refused OFF "-Ofast ${pinned}")
try(refused OFF "${pinned} -fassociative-math")
try(refused ON "${pinned}")
try(refused ON "${pinned} -mfpmath=sse")
try(refused ON "${pinned} -msse2 -mfpmath=sse -mfpmath=387")
try(refused OFF "${pinned}" ";dsp/b.cpp") # a source that no command compiles
if(failures)
  message(FATAL_ERROR "${failures}")
endif()

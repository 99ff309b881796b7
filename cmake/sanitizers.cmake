add_library(talv_sanitizers INTERFACE)
if(TALV_SANITIZE)
  target_compile_options(talv_sanitizers INTERFACE
    -fsanitize=${TALV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(talv_sanitizers INTERFACE -fsanitize=${TALV_SANITIZE})
endif()
if(TALV_BUILD_FUZZ) # which branches are taken. What comparisons compare is floats here, and watching it would cost much.
  target_compile_options(talv_sanitizers INTERFACE -fsanitize-coverage=inline-8bit-counters,pc-table)
endif()

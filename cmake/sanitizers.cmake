add_library(talv_sanitizers INTERFACE)
if(TALV_SANITIZE)
  target_compile_options(talv_sanitizers INTERFACE
    -fsanitize=${TALV_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(talv_sanitizers INTERFACE -fsanitize=${TALV_SANITIZE})
endif()

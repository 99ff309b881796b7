add_library(talv_warnings INTERFACE)
target_compile_options(talv_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wdouble-promotion -Wcast-align -Wundef
  $<$<BOOL:${TALV_WERROR}>:-Werror>)

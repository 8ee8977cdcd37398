# Warnings are for those who work on the filter: the presets turn them into errors, somebody who only
# builds a release is not stopped by a newer compiler's opinion.
option(K905_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)

add_library(k905_warnings INTERFACE)
target_compile_options(k905_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wcast-qual -Wnon-virtual-dtor
  $<$<BOOL:${K905_WARNINGS_AS_ERRORS}>:-Werror>)

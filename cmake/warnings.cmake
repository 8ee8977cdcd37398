# The presets for development turn warnings into errors. A release build does not, so that warnings of a newer
# compiler do not stop it.
option(K905_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)

# In merged files a type of an anonymous namespace seems to come from a header.
add_library(k905_warnings INTERFACE)
target_compile_options(k905_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wformat=2 -Wundef -Wcast-qual -Wnon-virtual-dtor
  $<$<BOOL:${K905_MERGE_FILES}>:-Wno-subobject-linkage>
  $<$<BOOL:${K905_WARNINGS_AS_ERRORS}>:-Werror>)

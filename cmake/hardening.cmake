# The filter reads what strangers made: rasters, PPD files, profiles, a printer's answers. None of this
# makes a fault right; it makes one that was overlooked end the program instead of being used. For the
# programs that are installed; tests and benchmarks do without.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported()  # CMAKE_POSITION_INDEPENDENT_CODE then reaches the linker too

add_library(k905_hardening INTERFACE)

foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "k905_has${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(k905_hardening INTERFACE ${flag})
  endif()
endforeach()

# Needs an optimizer to work with, and would hide from a sanitizer what it is there to find.
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
if(NOT "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${build_type}}" MATCHES "-fsanitize=")
  target_compile_options(k905_hardening INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
endif()

# No table that a call goes through stays writable.
foreach(flag -Wl,-z,relro -Wl,-z,now)
  string(MAKE_C_IDENTIFIER "k905_has${flag}" known)
  check_linker_flag(CXX ${flag} ${known})
  if(${known})
    target_link_options(k905_hardening INTERFACE ${flag})
  endif()
endforeach()

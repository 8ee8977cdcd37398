# The filter reads untrusted data: rasters, PPD files, profiles, replies of a printer. These flags do not fix errors;
# they make an undetected error end the program, so that it cannot be exploited. For installed programs only.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported()  # CMAKE_POSITION_INDEPENDENT_CODE then reaches the linker too

add_library(k905_hardening INTERFACE)

foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "k905_has${flag}" has_flag)
  check_cxx_compiler_flag(${flag} ${has_flag})
  if(${has_flag})
    target_compile_options(k905_hardening INTERFACE ${flag})
  endif()
endforeach()

# Needs optimization, and would hide errors from sanitizers.
string(TOUPPER "${CMAKE_BUILD_TYPE}" build_type)
if(NOT "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${build_type}}" MATCHES "-fsanitize=")
  target_compile_options(k905_hardening INTERFACE
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>)
endif()

# Resolves all functions of shared libraries at the start and makes the table of their addresses read-only.
foreach(flag -Wl,-z,relro -Wl,-z,now)
  string(MAKE_C_IDENTIFIER "k905_has${flag}" has_flag)
  check_linker_flag(CXX ${flag} ${has_flag})
  if(${has_flag})
    target_link_options(k905_hardening INTERFACE ${flag})
  endif()
endforeach()

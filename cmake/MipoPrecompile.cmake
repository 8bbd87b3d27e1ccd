# Precompiled headers: a third of the time that the kit, the program and the tests take to compile is that of reading the
# standard library. Each file still includes what it needs: builds with MIPO_PRECOMPILE_HEADERS off show it.

set(MIPO_STANDARD_HEADERS
  <algorithm> <array> <bit> <cstring> <filesystem> <functional> <limits> <map> <memory> <optional> <ostream> <span>
  <string> <string_view> <utility> <variant> <vector>)

# What lets ccache serve files with precompiled headers.
function(mipo_precompile_options target)
  if(MIPO_USES_COMPILER_CACHE)
    target_compile_options(${target} PRIVATE
      $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess> $<$<COMPILE_LANG_AND_ID:CXX,Clang>:SHELL:-Xclang -fno-pch-timestamp>)
  endif()
endfunction()

function(mipo_precompile target)
  if(MIPO_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} PRIVATE ${ARGN})
    mipo_precompile_options(${target})
  endif()
endfunction()

# The headers of another target, which is compiled with the same options.
function(mipo_precompile_as target other)
  if(MIPO_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} REUSE_FROM ${other})
    mipo_precompile_options(${target})
  endif()
endfunction()

# The instruction sets that the library is built for, one shared object each, from one source.
#
# level   back end in src/simd   compiled with          lies in (below the library folder)
# plain   ordinary loops         the architecture's     x86-64: . (the baseline)     Arm: mipo-plain
#                                baseline
# sse42   128-bit vectors        -march=x86-64-v2       glibc-hwcaps/x86-64-v2
# avx2    256-bit vectors        -march=x86-64-v3       glibc-hwcaps/x86-64-v3
# neon    128-bit vectors        -march=armv8-a         . (the baseline)
#
# The folders are the ones that the dynamic loader searches by itself for the processor it runs on.

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set(MIPO_ARCHITECTURE_LEVELS plain sse42 avx2)
  set(MIPO_LEVEL_FOLDER_plain ".")
  set(MIPO_LEVEL_OPTIONS_plain -march=x86-64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(MIPO_ARCHITECTURE_LEVELS neon)
  set(MIPO_LEVEL_FOLDER_plain "mipo-plain")
  set(MIPO_LEVEL_OPTIONS_plain -march=armv8-a -mno-outline-atomics)
else()
  message(FATAL_ERROR "mipo has no build for ${CMAKE_SYSTEM_PROCESSOR}: x86_64 and aarch64 are served")
endif()

set(MIPO_LEVEL_FOLDER_sse42 "glibc-hwcaps/x86-64-v2")
set(MIPO_LEVEL_FOLDER_avx2 "glibc-hwcaps/x86-64-v3")
set(MIPO_LEVEL_FOLDER_neon ".")
set(MIPO_LEVEL_OPTIONS_sse42 -march=x86-64-v2)
set(MIPO_LEVEL_OPTIONS_avx2 -march=x86-64-v3)
set(MIPO_LEVEL_OPTIONS_neon -march=armv8-a -mno-outline-atomics)

# Where the build puts the libraries, in the same arrangement as the install does.
set(MIPO_LIBRARY_OUTPUT ${CMAKE_BINARY_DIR}/lib)

# ccache, where it is installed: builds in other folders and other clones share what they compile.
option(MIPO_COMPILER_CACHE "Compile through ccache if it is installed" ON)

find_program(MIPO_CCACHE ccache)
mark_as_advanced(MIPO_CCACHE)
if(MIPO_COMPILER_CACHE AND MIPO_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Paths below the sources are hashed as relative ones, and not the folder that a compiler runs in. Precompiled headers
  # are known by their contents.
  set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros ${MIPO_CCACHE})
  set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
  set(MIPO_USES_COMPILER_CACHE ON)
endif()

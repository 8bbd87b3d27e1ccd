# Tests of the kernels, through the records of all levels of this build. They need nothing but the library, so that they
# run for every architecture.

set(level_files "")
foreach(level IN LISTS MIPO_LEVELS)
  list(APPEND level_files "${level}=$<TARGET_FILE:mipo_${level}>")
endforeach()
list(JOIN level_files ":" level_files)

add_library(mipo_check STATIC check/guarded_buffer.cpp check/levels.cpp check/random.cpp)
target_include_directories(mipo_check PUBLIC ${CMAKE_CURRENT_SOURCE_DIR} ${CMAKE_SOURCE_DIR}/src)
set_property(SOURCE check/levels.cpp APPEND PROPERTY COMPILE_DEFINITIONS "MIPO_TEST_LEVEL_FILES=\"${level_files}\"")
target_link_libraries(mipo_check PUBLIC mipo_headers mipohost GTest::gtest PRIVATE mipo_warnings)
mipo_precompile(mipo_check ${MIPO_STANDARD_HEADERS} <gtest/gtest.h>)

# A test of the kernels of one folder under src/. Build try_<family> and run `ctest -L '^<family>$'` for those of a family.
function(mipo_add_kernel_test name family)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE mipo_check mipo_warnings GTest::gtest_main)
  mipo_precompile_as(${name} mipo_check)
  set_target_properties(${name} PROPERTIES ENABLE_EXPORTS ON) # a test may be the host whose callbacks are called
  foreach(level IN LISTS MIPO_LEVELS)
    add_dependencies(${name} mipo_${level})
  endforeach()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "kernels;${family}")
  foreach(group IN ITEMS kernel_tests try_${family})
    if(NOT TARGET ${group})
      add_custom_target(${group})
    endif()
    add_dependencies(${group} ${name})
  endforeach()
endfunction()

include(bitvec_tests.cmake)
include(predicate_tests.cmake)
include(arithmetic_tests.cmake)
include(group_tests.cmake)
include(translation_tests.cmake)

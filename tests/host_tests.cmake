# Tests of the host kit. `host_kit_test` holds what works on one opened library, `host_open_test` how it is opened.

# A module that looks like the library but for one field of its record, which the environment names.
add_library(host_wrong_record MODULE host_wrong_record.c)
target_link_libraries(host_wrong_record PRIVATE mipo_headers mipo_warnings)
set_target_properties(host_wrong_record PROPERTIES PREFIX "" LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})

list(JOIN MIPO_LEVELS " " level_list)
add_executable(host_open_test host_open_test.cpp)
target_link_libraries(host_open_test PRIVATE mipo::host mipo_warnings GTest::gtest_main)
mipo_precompile_as(host_open_test mipo_check)
target_compile_definitions(host_open_test PRIVATE
  MIPO_TEST_LIBRARY_FOLDER="${MIPO_LIBRARY_OUTPUT}"
  MIPO_TEST_LEVELS="${level_list}"
  MIPO_TEST_WRONG_RECORD="$<TARGET_FILE:host_wrong_record>")
add_dependencies(host_open_test host_wrong_record)

add_executable(host_kit_test
  host_bit_vector_test.cpp
  host_column_decoder.cpp
  host_column_test.cpp
  host_dictionary_test.cpp
  host_encoder_test.cpp
  host_encoding_test.cpp
  host_resumable_test.cpp
  host_stream_test.cpp
  host_translation_test.cpp
  host_values_test.cpp)
if(MIPO_BUILD_TOOLS)
  target_sources(host_kit_test PRIVATE host_bloom_test.cpp host_column_file_test.cpp host_csv_test.cpp host_zstd_test.cpp)
  target_link_libraries(host_kit_test PRIVATE zstd z)
mipo_precompile_as(host_kit_test mipo_check)
endif()
target_link_libraries(host_kit_test PRIVATE mipo::host mipo_warnings GTest::gtest_main)

foreach(level IN LISTS MIPO_LEVELS)
  add_dependencies(host_open_test mipo_${level})
  add_dependencies(host_kit_test mipo_${level})
endforeach()

add_test(NAME host_open_test COMMAND host_open_test)
add_test(NAME host_kit_test COMMAND host_kit_test)

# Hosts in C that link nothing of ours and no libm: the second one brings its own hostierr.
foreach(host IN ITEMS host_open_c_test host_open_c_own_hostierr_test)
  add_executable(${host} host_open_c_test.c)
  target_link_libraries(${host} PRIVATE mipo_headers mipo_warnings ${CMAKE_DL_LIBS})
  target_compile_definitions(${host} PRIVATE _GNU_SOURCE=1)
  if(MIPO_SANITIZE)
    target_compile_definitions(${host} PRIVATE MIPO_TEST_SANITIZED=1)
  endif()
  add_dependencies(${host} host_open_test mipohost)
  add_test(NAME ${host} COMMAND ${host} $<TARGET_FILE:mipohost>)
endforeach()
target_compile_definitions(host_open_c_own_hostierr_test PRIVATE MIPO_TEST_OWN_HOSTIERR=1)
set_target_properties(host_open_c_own_hostierr_test PROPERTIES ENABLE_EXPORTS ON)

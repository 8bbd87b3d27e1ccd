# The program: SQL against SQLite, what it refuses, what it prints. Run once for each level.

find_package(SQLite3 REQUIRED)

add_executable(query_test
  query_aggregate_test.cpp
  query_data.cpp
  query_engines.cpp
  query_join_test.cpp
  query_program_test.cpp
  query_refusal_test.cpp
  query_sqlite_test.cpp)
target_compile_definitions(query_test PRIVATE
  MIPO_TEST_AIRPORTS="${CMAKE_SOURCE_DIR}/data/airports.csv"
  MIPO_TEST_FLIGHTS="${CMAKE_SOURCE_DIR}/data/flights-300k.csv.zst"
  MIPO_TEST_PROGRAM="$<TARGET_FILE:mipo_cli>")
target_link_libraries(query_test PRIVATE
  mipo_query fmt::fmt GTest::gtest_main SQLite::SQLite3 ${MIPO_ZSTD_LIBRARY} mipo_warnings)
mipo_precompile_as(query_test mipo_check)
add_dependencies(query_test mipo_cli)
foreach(level IN LISTS MIPO_LEVELS)
  add_dependencies(query_test mipo_${level})
endforeach()

# The best level in every run; the others, whose kernels agree by then, in thorough ones.
list(GET MIPO_LEVELS -1 best_level)
foreach(level IN LISTS MIPO_LEVELS)
  add_test(NAME query_test_${level} COMMAND query_test)
  set_tests_properties(query_test_${level} PROPERTIES ENVIRONMENT "MIPO_LEVEL=${level}")
  if(NOT level STREQUAL best_level)
    set_tests_properties(query_test_${level} PROPERTIES LABELS thorough)
  endif()
endforeach()

# What runs on several threads, by itself for the thread sanitizer.
add_test(NAME query_threads COMMAND query_test --gtest_filter=*Threads*)
set_tests_properties(query_threads PROPERTIES LABELS "threads;sample")

# Tests of the frame and of the predicates.

find_package(Threads REQUIRED)

target_sources(mipo_check PRIVATE
  check/built_kernels.cpp
  check/column_data.cpp
  check/column_format.cpp
  check/guarded_sources.cpp
  check/predicate_case.cpp
  check/predicate_families.cpp
  check/predicate_inputs.cpp
  check/test_host.cpp
  reference/decompression_model.cpp
  reference/predicate_model.cpp)

mipo_add_kernel_test(records_test frame records_test.cpp)
mipo_add_kernel_test(predicate_test scan predicate_test.cpp)
mipo_add_kernel_test(burst_rle_test scan burst_rle_test.cpp)
mipo_add_kernel_test(minmax_test decode minmax_test.cpp reference/minmax_model.cpp)
mipo_add_kernel_test(decode_test decode decode_test.cpp reference/decode_model.cpp)
mipo_add_kernel_test(placeholders_test decode placeholders_test.cpp)
mipo_add_kernel_test(threads_test frame threads_test.cpp)
target_link_libraries(threads_test PRIVATE Threads::Threads)
set_property(TEST threads_test APPEND PROPERTY LABELS threads)

mipo_add_kernel_test(recorded_results_test frame recorded_results_test.cpp)
target_compile_definitions(recorded_results_test PRIVATE
  MIPO_TEST_RECORDED_RESULTS="${CMAKE_CURRENT_SOURCE_DIR}/recorded/results.txt")

# What the library does not export is tested as a part of the test's own program.
list(GET MIPO_LEVELS 0 first_level)
mipo_add_kernel_test(frame_test frame frame_test.cpp $<TARGET_OBJECTS:mipo_objects_${first_level}>)

# Every public header compiles alone, as C11 and as C++20.
file(GLOB public_headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR}/include/mipo/*.h)
set(header_sources "")
foreach(header IN LISTS public_headers)
  get_filename_component(name ${header} NAME_WE)
  foreach(language IN ITEMS c cpp)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/header_alone/${name}.${language})
    file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n")
    list(APPEND header_sources ${source})
  endforeach()
endforeach()
add_library(headers_alone OBJECT ${header_sources})
target_link_libraries(headers_alone PRIVATE mipo_headers mipo_warnings)

# The examples in the documents, compiled and run as they stand there.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(documents README.md HACKING.md host/README.md tools/README.md docs/host-guide.md)
set(extract ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/documents/examples.py)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/documents/examples.py)
foreach(document IN LISTS documents)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${document})
endforeach()
set(folder ${CMAKE_CURRENT_BINARY_DIR}/documents)
file(MAKE_DIRECTORY ${folder})
execute_process(COMMAND ${extract} sources ${folder} ${documents} WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
  OUTPUT_VARIABLE programs COMMAND_ERROR_IS_FATAL ANY)

add_executable(documents_test ${folder}/examples.cpp)
target_include_directories(documents_test PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(documents_test PRIVATE mipo::host mipo_warnings GTest::gtest_main)
mipo_precompile_as(documents_test mipo_check)
add_test(NAME documents_test COMMAND documents_test WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})

foreach(number RANGE 1 ${programs})
  add_executable(document_program_${number} ${folder}/example_${number}.c)
  target_link_libraries(document_program_${number} PRIVATE mipohost mipo_warnings)
  add_test(NAME document_program_${number} COMMAND document_program_${number})
endforeach()

add_test(NAME document_commands COMMAND ${extract} run $<TARGET_FILE:mipo_cli> ${CMAKE_SOURCE_DIR} ${documents}
  WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})

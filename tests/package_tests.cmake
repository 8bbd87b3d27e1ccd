# Tests of what is built and installed, as files.

if(MIPO_SANITIZE)
  return() # a sanitizer brings imports, constructors and writable data of its own
endif()

find_package(Python3 REQUIRED COMPONENTS Interpreter)

foreach(level IN LISTS MIPO_LEVELS)
  add_test(NAME library_file_${level}
    COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/package/check_library_file.py
      ${CMAKE_READELF} ${CMAKE_OBJDUMP} $<TARGET_FILE:mipo_${level}> ${level} ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR})
endforeach()

list(GET MIPO_LEVELS -1 level)
set(toolchain -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE})
if(CMAKE_TOOLCHAIN_FILE)
  list(APPEND toolchain -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE})
else()
  list(APPEND toolchain -DCMAKE_C_COMPILER=${CMAKE_C_COMPILER} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER})
endif()
add_test(NAME reproducible_build
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/package/check_reproducible.sh ${CMAKE_SOURCE_DIR}
    $<TARGET_FILE:mipo_${level}> ${level} ${CMAKE_BINARY_DIR}/reproducible ${CMAKE_COMMAND} ${toolchain})
set_tests_properties(reproducible_build PROPERTIES LABELS thorough)

if(CMAKE_CROSSCOMPILING OR NOT "plain" IN_LIST MIPO_LEVELS)
  return() # an install has a baseline
endif()

set(folders "")
foreach(level IN LISTS MIPO_LEVELS)
  list(APPEND folders ${MIPO_LEVEL_FOLDER_${level}})
endforeach()
add_test(NAME install
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/package/check_install.sh ${CMAKE_BINARY_DIR}
    ${CMAKE_CURRENT_SOURCE_DIR}/package/host ${CMAKE_BINARY_DIR}/install-test ${CMAKE_COMMAND} ${CMAKE_C_COMPILER}
    ${CMAKE_INSTALL_LIBDIR} ${folders})

# Wrong variants of the library, each of which the suite has to catch.
if("avx2" IN_LIST MIPO_LEVELS)
  set(faults_command ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/faults/run.py
    --source ${CMAKE_SOURCE_DIR} --build ${CMAKE_BINARY_DIR} --level avx2
    --compiler ${CMAKE_CXX_COMPILER})
  add_custom_target(faults COMMAND ${faults_command} USES_TERMINAL DEPENDS mipo_avx2 kernel_tests)
  add_test(NAME faults COMMAND ${faults_command} --sample)
  set_tests_properties(faults PROPERTIES LABELS sample)
  add_test(NAME faults_all COMMAND ${faults_command})
  set_tests_properties(faults_all PROPERTIES LABELS thorough)
endif()

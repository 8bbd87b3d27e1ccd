# Tests of arithmetic on columns of numbers, and of their conversion.

mipo_add_kernel_test(arithmetic_test arith arithmetic_test.cpp reference/arithmetic_model.cpp)
# The model rounds each product before it is added, as the kernels do.
set_source_files_properties(reference/arithmetic_model.cpp PROPERTIES COMPILE_OPTIONS -ffp-contract=off)
mipo_add_kernel_test(integer_sweeps_test arith integer_sweeps_test.cpp)
mipo_add_kernel_test(convert_test move convert_test.cpp reference/conversion_model.cpp)

# Tests of translation, hashing and Bloom filters.

mipo_add_kernel_test(translation_test translation_test.cpp reference/translation_model.cpp)

# Tests of translation, hashing and Bloom filters.

mipo_add_kernel_test(translation_test xlate translation_test.cpp reference/translation_model.cpp)
mipo_add_kernel_test(hash_test hash hash_test.cpp)
mipo_add_kernel_test(bloom_test hash bloom_test.cpp)

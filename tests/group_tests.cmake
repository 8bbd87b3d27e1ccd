# Tests of whole streams, of group keys and of group sums.

mipo_add_kernel_test(stream_test decode stream_test.cpp reference/stream_model.cpp)
mipo_add_kernel_test(group_key_test groupby group_key_test.cpp reference/group_model.cpp)
mipo_add_kernel_test(group_sum_test groupby group_sum_test.cpp reference/group_model.cpp)

list(GET MIPO_LEVELS 0 first_level)
mipo_add_kernel_test(translation_arrays_test xlate translation_arrays_test.cpp $<TARGET_OBJECTS:mipo_objects_${first_level}>)

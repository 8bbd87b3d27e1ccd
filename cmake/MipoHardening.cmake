# Hardening of what is not the library: the host kit and the program read files and text from outside.
add_library(mipo_hardened INTERFACE)
target_compile_options(mipo_hardened INTERFACE -fstack-protector-strong)
if(NOT MIPO_SANITIZE)
  target_compile_definitions(mipo_hardened INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
endif()
target_link_options(mipo_hardened INTERFACE -Wl,-z,relro,-z,now)

# How everything here is compiled: warnings, 64-bit file offsets and times, sanitizers.

add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)

add_compile_options(-Wall -Wextra -Wshadow -Wconversion -Wformat=2)
if(ZEL_WERROR)
  add_compile_options(-Werror)
endif()

# The loader looks in LD_LIBRARY_PATH before RUNPATH but after RPATH: a user must be able to replace the camera.
add_link_options(-Wl,--enable-new-dtags -Wl,--as-needed)

if(ZEL_SANITIZE)
  add_compile_options(-fsanitize=${ZEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZEL_SANITIZE})
endif()

# How everything here is compiled: warnings, 64-bit file offsets and times, sanitizers.

add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)

add_compile_options(-Wall -Wextra -Wshadow -Wconversion -Wformat=2)
if(ZEL_WERROR)
  add_compile_options(-Werror)
endif()

# The loader looks in LD_LIBRARY_PATH before RUNPATH but after RPATH: a user must be able to replace the camera.
add_link_options(-Wl,--enable-new-dtags -Wl,--as-needed)

# What makes a fault in the program harder to use against the camera it runs on.
set(ZEL_HARDENING "")
if(ZEL_HARDENED)
  set(ZEL_HARDENING -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fPIE)
  add_compile_options(${ZEL_HARDENING})
  # A library that is loaded is position-independent in another way.
  add_compile_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>:-fPIC>)
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie> -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

if(ZEL_STANDALONE)
  add_compile_options(-ffunction-sections -fdata-sections)
  # What was linked in stays the program's own: libzel must not find its C++ library in the program.
  add_link_options(-static-libstdc++ -static-libgcc -Wl,--gc-sections -Wl,--exclude-libs,ALL)
endif()

if(ZEL_SANITIZE)
  add_compile_options(-fsanitize=${ZEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZEL_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_compile_options(-Wno-maybe-uninitialized)  # it takes the address sanitizer's code in <regex> for such uses
  endif()
endif()

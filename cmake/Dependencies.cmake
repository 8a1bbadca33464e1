# The libraries that Debian brings; scripts/packages lists their packages.

find_package(PkgConfig REQUIRED)
pkg_check_modules(GOBJECT REQUIRED IMPORTED_TARGET gobject-2.0)
find_package(Threads REQUIRED)
if(ZEL_FFMPEG_SOURCE)
  include(SmallFfmpeg)
else()
  pkg_check_modules(LIBAVFORMAT REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil)
endif()
if(NOT ZEL_LIBRARY)
  pkg_check_modules(LIBAVDEVICE REQUIRED IMPORTED_TARGET libavdevice libavfilter libavformat libavcodec libavutil)
endif()
find_package(fmt REQUIRED)

# A camera has neither {fmt} nor, perhaps, a C++ library of this compiler's age: both go into the program. Formatting by
# locale, of which the program has none, would bring most of the C++ library with it.
add_library(zel-fmt INTERFACE)
if(ZEL_STANDALONE)
  target_link_libraries(zel-fmt INTERFACE fmt::fmt-header-only)
  target_compile_definitions(zel-fmt INTERFACE FMT_STATIC_THOUSANDS_SEPARATOR=',')
else()
  target_link_libraries(zel-fmt INTERFACE fmt::fmt)
endif()

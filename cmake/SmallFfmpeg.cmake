# A small FFmpeg for a camera, made from the source in ZEL_FFMPEG_SOURCE with this build's compiler and linked in: the
# Matroska muxer, what it needs, and files to write to. Gives the target PkgConfig::LIBAVFORMAT, as the system's would.
include(ExternalProject)
include(ProcessorCount)

set(folder "${CMAKE_BINARY_DIR}/ffmpeg")
set(libraries "")
foreach(name avformat avcodec avutil)
  list(APPEND libraries "${folder}/lib/lib${name}.a")
endforeach()

set(options
  --disable-everything --disable-autodetect --disable-programs --disable-doc --disable-network
  --disable-avdevice --disable-avfilter --disable-swscale --disable-swresample
  --enable-muxer=matroska --enable-protocol=file
  --enable-small --enable-static --disable-shared --enable-pic --disable-debug --disable-x86asm
  "--cc=${CMAKE_C_COMPILER}" "--ar=${CMAKE_AR}" "--nm=${CMAKE_NM}" "--ranlib=${CMAKE_RANLIB}"
)
if(CMAKE_CROSSCOMPILING)
  list(APPEND options --enable-cross-compile --target-os=linux "--arch=${CMAKE_SYSTEM_PROCESSOR}")
endif()
if(CMAKE_SYSROOT)
  list(APPEND options "--sysroot=${CMAKE_SYSROOT}")
endif()
string(JOIN " " flags -ffunction-sections -fdata-sections ${ZEL_HARDENING})

ProcessorCount(jobs)
ExternalProject_Add(small-ffmpeg
  SOURCE_DIR "${ZEL_FFMPEG_SOURCE}"
  BINARY_DIR "${folder}/build"
  CONFIGURE_COMMAND "${ZEL_FFMPEG_SOURCE}/configure" "--prefix=${folder}" ${options} "--extra-cflags=${flags}"
  BUILD_COMMAND make -s -j${jobs}
  INSTALL_COMMAND make -s install
  BUILD_BYPRODUCTS ${libraries}
  LOG_CONFIGURE ON
  LOG_BUILD ON
  LOG_INSTALL ON
  LOG_OUTPUT_ON_FAILURE ON
)

file(MAKE_DIRECTORY "${folder}/include")
add_library(PkgConfig::LIBAVFORMAT INTERFACE IMPORTED GLOBAL)
target_include_directories(PkgConfig::LIBAVFORMAT INTERFACE "${folder}/include")
target_link_libraries(PkgConfig::LIBAVFORMAT INTERFACE ${libraries} Threads::Threads m)
add_dependencies(PkgConfig::LIBAVFORMAT small-ffmpeg)

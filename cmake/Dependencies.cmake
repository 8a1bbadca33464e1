# The libraries that Debian brings; scripts/packages lists their packages.

find_package(PkgConfig REQUIRED)
pkg_check_modules(GOBJECT REQUIRED IMPORTED_TARGET gobject-2.0)
pkg_check_modules(LIBAVFORMAT REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil)
pkg_check_modules(LIBAVDEVICE REQUIRED IMPORTED_TARGET libavdevice libavfilter libavformat libavcodec libavutil)
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)

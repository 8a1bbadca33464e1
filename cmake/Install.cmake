# What cmake --install puts where. Components: "client", "frames", "tools" with the programs for a real camera, and
# "camera" with all that belongs to the software camera.
#
# The installed client has no path to any libzel: on a camera the loader finds the camera's own. The software camera
# lies in a folder of its own, where the loader does not look; the command zel-software-camera points it there.
include(GNUInstallDirs)

set(ZEL_ZSH_COMPLETION_DIR "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE STRING "Folder of zsh completions")

# zel_install_program(<program> <component>): the program, its manual page and its completions.
function(zel_install_program program component)
  install(TARGETS ${program} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT ${component})
  if(NOT TARGET documents)
    return()
  endif()
  install(FILES "${zel_documents}/${program}.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT ${component})
  install(FILES "${zel_documents}/bash/${program}"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT ${component})
  install(FILES "${zel_documents}/zsh/_${program}" DESTINATION "${ZEL_ZSH_COMPLETION_DIR}" COMPONENT ${component})
  install(FILES "${zel_documents}/fish/${program}.fish"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT ${component})
endfunction()

zel_install_program(zel-client client)
zel_install_program(zel-compliance tools)
if(TARGET zel-frames)
  zel_install_program(zel-frames frames)
  install(TARGETS zel-frames-codec-module zel-frames-container-module
    LIBRARY DESTINATION "${zel_modules}" COMPONENT frames)
endif()

# zel-record looks for these beside itself and here.
set(zel_record_folder "${CMAKE_INSTALL_LIBDIR}/zel/record")
install(TARGETS zel-record-shim LIBRARY DESTINATION "${zel_record_folder}" COMPONENT tools)
if(TARGET zel-record-read)
  zel_install_program(zel-record tools)
  install(TARGETS zel-record-read RUNTIME DESTINATION "${zel_record_folder}" COMPONENT tools)
else()
  install(TARGETS zel-record RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
endif()

if(ZEL_LIBRARY)
  return()
endif()

set(zel_camera_folder "${CMAKE_INSTALL_LIBDIR}/zel/software-camera")
file(RELATIVE_PATH zel_camera_from_bin
  "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_PREFIX}/${zel_camera_folder}")
file(RELATIVE_PATH zel_prefix_from_pkgconfig
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
set(zel_made "${PROJECT_BINARY_DIR}/install")
foreach(file zel.pc zel-software-camera.pc zel-software-camera)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${file}.in" "${zel_made}/${file}" @ONLY)
endforeach()
configure_file("${PROJECT_SOURCE_DIR}/docs/man/zel-software-camera.1.in" "${zel_made}/zel-software-camera.1" @ONLY)

install(TARGETS zel LIBRARY DESTINATION "${zel_camera_folder}" COMPONENT camera NAMELINK_COMPONENT camera)
install(PROGRAMS "${zel_made}/zel-software-camera" DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT camera)
install(FILES "${PROJECT_SOURCE_DIR}/include/zel/zel.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/zel" COMPONENT camera)
install(FILES "${zel_made}/zel.pc" "${zel_made}/zel-software-camera.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT camera)
install(FILES "${zel_made}/zel-software-camera.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT camera)
if(TARGET documents)
  install(FILES "${zel_documents}/zel-camera.5" DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT camera)
endif()
install(FILES "${PROJECT_SOURCE_DIR}/tools/zel-software-camera.bash"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME zel-software-camera COMPONENT camera)

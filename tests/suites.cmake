# zel_add_suites(<program> PREFIX <prefix>): every suite of a GoogleTest program becomes
# one test of CTest, PREFIX and the suite's name, in a process of its own: to start the program takes longer than most
# tests. The suites are listed when the tests run, so that none can be forgotten.
function(zel_add_suites program)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "PREFIX" "")
  get_target_property(emulator ${program} CROSSCOMPILING_EMULATOR)
  if(NOT emulator)
    set(emulator "")
  endif()
  set(include_file "${CMAKE_CURRENT_BINARY_DIR}/${program}-suites.cmake")
  file(GENERATE OUTPUT "${include_file}" CONTENT "\
include([==[${CMAKE_CURRENT_FUNCTION_LIST_DIR}/list_suites.cmake]==])
zel_list_suites([==[$<TARGET_FILE:${program}>]==] [==[${arg_PREFIX}]==] [==[${emulator}]==])
")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${include_file}")
endfunction()

# zel_build_together(<program> <count>): compiles so many sources as one, so that they share their headers' cost. What
# they name in unnamed namespaces must differ. With CMAKE_UNITY_BUILD=OFF every source is compiled by itself.
function(zel_build_together program count)
  if(DEFINED CMAKE_UNITY_BUILD AND NOT CMAKE_UNITY_BUILD)
    return()
  endif()
  set_target_properties(${program} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE ${count})
  # To the compiler a source is then a header, whose classes should not build on unnamed namespaces.
  target_compile_options(${program} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-subobject-linkage>)
endfunction()

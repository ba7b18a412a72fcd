# Client libraries of other vector lengths, for an installation that carries several:
# SVE_EXTRA_VL_BITS="128;256;512;2048" in this (AArch64) build configures a sub-build of the same
# sources at each length (build/vl<N>), builds only its client library there, copies it into
# this build's lib/ beside this length's and installs it with it. Each length's library is
# libmemtrace_sve_<N>.so; the host layer and the trace library are shared by all of them.
set(SVE_EXTRA_VL_BITS "" CACHE STRING "Other vector lengths (bits) whose client libraries this build builds and installs")
if(NOT SVE_EXTRA_VL_BITS OR NOT TARGET ${SVE_CLIENT_LIB})
  return()
endif()
include(ExternalProject)
set(extra_args -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE})
foreach(var CMAKE_TOOLCHAIN_FILE CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER)
  if(${var})
    list(APPEND extra_args -D${var}=${${var}})
  endif()
endforeach()
foreach(vl ${SVE_EXTRA_VL_BITS})
  if(vl EQUAL SVE_VL_BITS)
    continue()
  endif()
  set(sub ${CMAKE_BINARY_DIR}/vl${vl})
  ExternalProject_Add(sve_vl${vl}
    SOURCE_DIR ${SVE_ROOT}
    BINARY_DIR ${sub}
    CMAKE_ARGS -DSVE_VL_BITS=${vl} ${extra_args}
    BUILD_COMMAND ${CMAKE_COMMAND} --build ${sub} --target memtrace_sve_${vl}
    INSTALL_COMMAND ${CMAKE_COMMAND} -E copy ${sub}/lib/libmemtrace_sve_${vl}.so ${CMAKE_BINARY_DIR}/lib/
    BUILD_ALWAYS ON
    BUILD_BYPRODUCTS ${CMAKE_BINARY_DIR}/lib/libmemtrace_sve_${vl}.so)
  install(FILES ${CMAKE_BINARY_DIR}/lib/libmemtrace_sve_${vl}.so DESTINATION ${CMAKE_INSTALL_LIBDIR})
endforeach()

# `length-checks`: everything that the tests of one vector length need and nothing else, so that
# a build at another length than the default builds this target instead of "all" (scripts/test).
# On x86-64: the conformance harness and its oracle runner, the core and tier-agreement tests and
# the fuzz corpus replay (with clang's libFuzzer: the fuzz target too). On AArch64: the launcher with the client library, host layer and trace
# library, the tools the end-to-end suite runs, the examples and the end-to-end programs.
add_custom_target(length-checks)

# The targets a directory defines that build something (an interface library builds nothing).
function(sve_built_targets dir out)
  get_property(all DIRECTORY ${dir} PROPERTY BUILDSYSTEM_TARGETS)
  set(built)
  foreach(t ${all})
    get_target_property(type ${t} TYPE)
    if(NOT type STREQUAL "INTERFACE_LIBRARY")
      list(APPEND built ${t})
    endif()
  endforeach()
  set(${out} ${built} PARENT_SCOPE)
endfunction()

if(SVE_FUZZ)
  set(wanted fuzz_replay fuzz_word)
elseif(SVE_AARCH64)
  set(wanted sve-run sve-exec sve-step sve-trace)
  foreach(dir examples tests/e2e)
    sve_built_targets(${SVE_ROOT}/${dir} found)
    list(APPEND wanted ${found})
  endforeach()
else()
  set(wanted sve-conform sve-step oracle_runner test_core fuzz_replay)
endif()
foreach(t ${wanted})
  if(TARGET ${t})
    add_dependencies(length-checks ${t})
  endif()
endforeach()

# SPDX-License-Identifier: Apache-2.0
# Sanitizers and coverage: whole-program settings, since both must cover the library, the stand-ins and the tests alike.
set(VEXORA_INSTRUMENTED OFF)

if(VEXORA_SANITIZE)
  set(VEXORA_INSTRUMENTED ON)
  set(sanitize -fsanitize=${VEXORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(VEXORA_SANITIZE MATCHES "undefined")
    list(APPEND sanitize -fsanitize=float-cast-overflow,float-divide-by-zero)
  endif()
  # The pattern makes a forgotten initialisation visible.
  add_compile_options(${sanitize} -ftrivial-auto-var-init=pattern)
  add_compile_definitions(VEXORA_SANITIZED)
  # With a sanitizer, gcc 12 wrongly reports uninitialised members in <regex>.
  add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized>)
  add_link_options(${sanitize})
endif()

if(VEXORA_COVERAGE)
  set(VEXORA_INSTRUMENTED ON)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# vexora_count_branches(target map) counts the branches of a library's source: it turns off optimisation, which adds its
# own. Tests must write the counters in processes that end without exit handlers, so the exported names in the variable
# `map` are extended by the calls for that.
function(vexora_count_branches target map)
  if(NOT VEXORA_COVERAGE)
    return()
  endif()
  file(READ ${${map}} names)
  string(REPLACE "global:" "global: __gcov_dump; __gcov_reset;" names "${names}")
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/exports.map "${names}")
  set(${map} ${CMAKE_CURRENT_BINARY_DIR}/exports.map PARENT_SCOPE)
  target_compile_options(${target} PRIVATE -O0)
  target_link_options(${target} PRIVATE -Wl,-u,__gcov_dump,-u,__gcov_reset)
endfunction()

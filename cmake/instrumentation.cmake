# SPDX-License-Identifier: Apache-2.0
# Sanitizers and coverage: whole-program settings, since both must cover the library, the stand-ins and the tests alike.
set(VEXORA_INSTRUMENTED OFF)

if(VEXORA_SANITIZE)
  set(VEXORA_INSTRUMENTED ON)
  set(sanitize -fsanitize=${VEXORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(VEXORA_SANITIZE MATCHES "undefined")
    list(APPEND sanitize -fsanitize=float-cast-overflow,float-divide-by-zero)
  endif()
  # A forgotten initialisation shows.
  add_compile_options(${sanitize} -ftrivial-auto-var-init=pattern)
  add_compile_definitions(VEXORA_SANITIZED)
  # gcc 12 sees uninitialised members in <regex> once a sanitizer is in the way of its analysis.
  add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-maybe-uninitialized>)
  add_link_options(${sanitize})
endif()

if(VEXORA_COVERAGE)
  set(VEXORA_INSTRUMENTED ON)
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# vexora_count_branches(target map): makes a library's counters those of its source, as optimised code has branches of
# its own, and lets tests write them in processes that end without exit handlers: `map` names the variable with the list
# of exported names, which becomes one that has those calls, too.
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

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

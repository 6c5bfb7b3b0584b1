# SPDX-License-Identifier: Apache-2.0
# vexora_precompile(target (PRIVATE header | REUSE_FROM other)) compiles a target's largest header once for its sources.
# gcc 12 then reports false faults in its own headers' inlined code, such as in strings that are concatenated, so those
# warnings are off.
function(vexora_precompile target)
  target_precompile_headers(${target} ${ARGN})
  target_compile_options(${target} PRIVATE
    "$<$<CXX_COMPILER_ID:GNU>:-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow;-Wno-stringop-overread>")
endfunction()

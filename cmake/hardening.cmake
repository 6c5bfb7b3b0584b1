# SPDX-License-Identifier: Apache-2.0
# vexora_harden(TARGET) adds the protections of delivered files. tests/abi/check_binary reads them from the built file.
include(CheckCXXCompilerFlag)

set(vexora_hardening
  -fstack-protector-strong -fno-delete-null-pointer-checks -fno-strict-overflow -frecord-gcc-switches)

# Not every compiler and processor has these.
foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "VEXORA_HAS${flag}" known)
  check_cxx_compiler_flag("-Werror ${flag}" ${known})
  if(${known})
    list(APPEND vexora_hardening ${flag})
  endif()
endforeach()

# Sanitizers check the C library's calls themselves, which fortified calls would hide from them. Their builds fill
# variables with a pattern.
if(NOT VEXORA_SANITIZE)
  list(APPEND vexora_hardening -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -ftrivial-auto-var-init=zero)
  check_cxx_compiler_flag("-ftrivial-auto-var-init=zero" VEXORA_ZERO_INIT_IS_PLAIN)
  if(NOT VEXORA_ZERO_INIT_IS_PLAIN)
    list(APPEND vexora_hardening -enable-trivial-auto-var-init-zero-knowing-it-will-be-removed-from-clang)
  endif()
endif()

function(vexora_harden target)
  target_compile_options(${target} PRIVATE ${vexora_hardening})
  target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endfunction()

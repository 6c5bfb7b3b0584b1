# SPDX-License-Identifier: Apache-2.0
# Presets turn warnings into errors; a plain build only prints them.
add_compile_options(
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wcast-qual -Wundef
  -Wimplicit-fallthrough -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast$<SEMICOLON>-Wnon-virtual-dtor$<SEMICOLON>-Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes$<SEMICOLON>-Wmissing-prototypes>)

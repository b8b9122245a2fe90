# What every target of ours is compiled with. Never exported: a consumer's warnings are its own business.
add_library(scada-build INTERFACE)

# Without 64-bit offsets a 32-bit readdir() or lstat() fails on large inode numbers, and every listing comes out empty.
target_compile_definitions(scada-build INTERFACE _FILE_OFFSET_BITS=64)

target_compile_options(scada-build INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wcast-qual -Wcast-align
  -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi
  $<$<BOOL:${SCADA_WERROR}>:-Werror>)

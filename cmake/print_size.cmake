# Prints the size of FILE beside the module's goal of 96 KiB.
file(SIZE "${FILE}" bytes)
math(EXPR kib "(${bytes} + 1023) / 1024")
message(STATUS "hotspot.so, -Os and stripped: ${bytes} bytes (${kib} KiB; goal: at most 96 KiB)")

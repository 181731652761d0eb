# Toolchain of the router-be32 preset: a 32-bit big-endian machine like the routers', whose programs run
# here under user-mode emulation (Debian's g++-mips-linux-gnu and qemu-user).

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
# Char is signed where the other presets run. Routers have either kind, so here it is unsigned.
set(CMAKE_C_FLAGS_INIT -funsigned-char)
set(CMAKE_CXX_FLAGS_INIT -funsigned-char)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips -L /usr/mips-linux-gnu)

# Libraries that are headers alone serve every machine. They lie in /usr/include among this machine's own
# headers, which the cross compiler must never see: it gets a folder with links to the libraries instead.
set(headers ${CMAKE_BINARY_DIR}/header-only)
foreach(library CLI boost nlohmann)
  file(MAKE_DIRECTORY ${headers})
  file(CREATE_LINK /usr/include/${library} ${headers}/${library} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${headers})

# The self-tests as 32-bit big-endian programs, with Debian's cross compiler, run by qemu-ppc.
# Linked statically, so that qemu needs no library of the other processor.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)

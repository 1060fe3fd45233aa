# Big-endian 32-bit PowerPC with Debian's cross compiler; programs run under qemu-user.
# The original machine's byte order and pointer size: what holds here holds in memory as it did there.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
# Any 32-bit model will do. None of them has the instructions of 2015 that the C library's sin and cos run unasked;
# tests/support/FloatStatus.cpp says why that matters to the emulator only, and helps it.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L /usr/powerpc-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/powerpc-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

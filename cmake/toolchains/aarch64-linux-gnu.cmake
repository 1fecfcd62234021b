# 64-bit Arm with Debian's cross compiler. The arm64 libraries are Debian's own, installed beside the native ones
# (multiarch), so there is no sysroot; protoc, its gRPC plug-in and all other programs stay the native ones.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# The pkg-config that finds the arm64 .pc files, and no native one.
set(PKG_CONFIG_EXECUTABLE "/usr/bin/aarch64-linux-gnu-pkg-config" CACHE FILEPATH "pkg-config of arm64")

# Only arm64 libraries may be linked: nothing from the native multiarch folders.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_IGNORE_PREFIX_PATH /usr/local)
list(APPEND CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu)

# Runs the test programs, and each of them once at build time, to discover its tests.
find_program(CORVALUX_QEMU NAMES qemu-aarch64-static qemu-aarch64)
if(CORVALUX_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR "${CORVALUX_QEMU}")
endif()

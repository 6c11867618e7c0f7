# Toolchain: 64-bit Arm from another machine, with Debian's cross compiler and the arm64 packages beside the native ones.
# What is built runs under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
find_program(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 REQUIRED)

# Without a native folder in it, so that no library of this machine is found in place of a missing one.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig")

# Debian's libsimdjson-dev can be there for one architecture only.
set(simdjson_DIR "${CMAKE_CURRENT_LIST_DIR}/aarch64-linux-gnu")

# Cross build for AArch64 Linux; programs run under qemu-aarch64 on a processor without SVE.
# The unit tests run on the Cortex-A72, which has no half-precision arithmetic either: they need
# none, and it keeps them honest about it. Programs built with +sve run under sve-run, whose
# default model (neoverse-n1) has half precision, since SVE implies it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_ASM_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(SVE_QEMU_NOSVE qemu-aarch64 -L /usr/aarch64-linux-gnu -cpu cortex-a72)
set(SVE_QEMU_ORACLE qemu-aarch64 -L /usr/aarch64-linux-gnu -cpu max,sve-default-vector-length=80)
set(CMAKE_CROSSCOMPILING_EMULATOR ${SVE_QEMU_NOSVE})

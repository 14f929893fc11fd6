# Cross-compilation for 32-bit ARM Linux (ARMv7-A, NEON, hard float).
# Test executables run under qemu-arm with the ARM sysroot as the loader prefix.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7-a)

set(FXAAC_ARM_TRIPLE arm-linux-gnueabihf)
set(FXAAC_ARM_SYSROOT /usr/${FXAAC_ARM_TRIPLE} CACHE PATH "ARM runtime libraries for qemu-arm")

set(CMAKE_C_COMPILER ${FXAAC_ARM_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${FXAAC_ARM_TRIPLE}-g++)
set(CMAKE_C_FLAGS_INIT "-march=armv7-a -mfpu=neon -mfloat-abi=hard")
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a -mfpu=neon -mfloat-abi=hard")

set(CMAKE_FIND_ROOT_PATH ${FXAAC_ARM_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env;QEMU_LD_PREFIX=${FXAAC_ARM_SYSROOT};qemu-arm)

# Cross build for the phone's CPU (32-bit ARM, hard float) with Debian's cross compiler.
# Libraries the tests and the development host need (GoogleTest, pugixml, libcrypto) come
# from a folder of unpacked armhf packages (tools/armhf/sysroot.sh), so the build does not
# depend on the armhf and amd64 archives carrying the same versions. Executables run
# under qemu-arm user-mode emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT OSTRA_ARMHF_SYSROOT)
  set(OSTRA_ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot)
endif()
get_filename_component(OSTRA_ARMHF_SYSROOT ${OSTRA_ARMHF_SYSROOT} ABSOLUTE)
set(OSTRA_ARMHF_SYSROOT ${OSTRA_ARMHF_SYSROOT} CACHE PATH "Unpacked armhf packages")

set(CMAKE_FIND_ROOT_PATH ${OSTRA_ARMHF_SYSROOT} /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Static libcrypto: test executables then need nothing at run time beyond the cross
# toolchain's own C and C++ runtimes, which qemu finds through -L.
set(OPENSSL_USE_STATIC_LIBS TRUE)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
# Debian keeps the architecture-specific halves of headers (opensslconf.h) apart.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${OSTRA_ARMHF_SYSROOT}/usr/include/arm-linux-gnueabihf)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${OSTRA_ARMHF_SYSROOT}/usr/include/arm-linux-gnueabihf)

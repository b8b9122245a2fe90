# 32-bit Arm with the distribution's cross compiler; libraries come from the distribution's own armhf packages.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(PKG_CONFIG_EXECUTABLE /usr/bin/arm-linux-gnueabihf-pkg-config)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm)

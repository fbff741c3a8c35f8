# Builds for another processor with Debian's cross compilers. PROCESSOR is the first word of their
# names, such as aarch64:
#
#     cmake --preset release --toolchain cmake/cross.cmake -DCMAKE_SYSTEM_PROCESSOR=PROCESSOR -B FOLDER

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu-g++)

# 32-bit x86. The cross compiler's own loader and libraries run the programs of the build tree, so no foreign
# architecture has to be enabled on the workstation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER i686-linux-gnu-g++)
set(ORVI_CROSS_LIB /usr/i686-linux-gnu/lib)
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,--dynamic-linker=${ORVI_CROSS_LIB}/ld-linux.so.2 -Wl,--disable-new-dtags -Wl,-rpath,${ORVI_CROSS_LIB}")
# A library with a search path of its own does not inherit the program's.
set(CMAKE_BUILD_RPATH ${ORVI_CROSS_LIB})

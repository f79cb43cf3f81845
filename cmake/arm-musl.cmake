# The board: 32-bit ARM, a compact C library (musl), one static program. R8_ARM_ABI is armhf (hardware floating
# point), armel, or arm64 for a later board. Debian's cross compiler brings its own C library; here its headers give way to musl's,
# which cmake/fetch_musl unpacks below R8_MUSL_FOLDER.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES R8_ARM_ABI R8_MUSL_FOLDER)

if(R8_ARM_ABI STREQUAL armhf)
    set(gnu_triple arm-linux-gnueabihf)
    set(musl_triple arm-linux-musleabihf)
elseif(R8_ARM_ABI STREQUAL armel)
    set(gnu_triple arm-linux-gnueabi)
    set(musl_triple arm-linux-musleabi)
    set(instructions -mthumb) # for armhf it is the compiler's default
elseif(R8_ARM_ABI STREQUAL arm64)
    set(CMAKE_SYSTEM_PROCESSOR aarch64)
    set(gnu_triple aarch64-linux-gnu)
    set(musl_triple aarch64-linux-musl)
else()
    message(FATAL_ERROR "R8_ARM_ABI is armhf, armel or arm64, not '${R8_ARM_ABI}'")
endif()

if(NOT EXISTS ${R8_MUSL_FOLDER}/complete)
    message(FATAL_ERROR "The board's C library is missing: ./run --install-deps ${R8_ARM_ABI} fetches it")
endif()

set(CMAKE_C_COMPILER ${gnu_triple}-gcc)
set(CMAKE_CXX_COMPILER ${gnu_triple}-g++)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=include
    OUTPUT_VARIABLE gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -dumpversion
    OUTPUT_VARIABLE gcc_version OUTPUT_STRIP_TRAILING_WHITESPACE)
set(musl_include ${R8_MUSL_FOLDER}/usr/include/${musl_triple})
set(musl_lib ${R8_MUSL_FOLDER}/usr/lib/${musl_triple})
set(gnu_include /usr/${gnu_triple}/include)

# C++ headers of the compiler (<atomic> and what it needs), then musl, then the kernel's.
set(include_flags "-nostdinc -isystem ${musl_include} -isystem ${gcc_include} -idirafter ${R8_MUSL_FOLDER}/kernel")
set(cxx_flags "-nostdinc++ -isystem ${gnu_include}/c++/${gcc_version} -isystem ${gnu_include}/c++/${gcc_version}/${gnu_triple}")
set(CMAKE_C_FLAGS_INIT "${include_flags}")
# The C++ headers were configured for another C library: name what they expect of it.
set(CMAKE_CXX_FLAGS_INIT "${cxx_flags} ${include_flags} -D__locale_t=locale_t '-D__GLIBC_PREREQ(a,b)=0'")

set(CMAKE_EXE_LINKER_FLAGS_INIT "-nostdlib -static -s -Wl,--gc-sections -L${musl_lib} ${musl_lib}/crt1.o ${musl_lib}/crti.o")
set(CMAKE_C_STANDARD_LIBRARIES "-lc -lgcc -lgcc_eh -lc ${musl_lib}/crtn.o")

# One program at one fixed place, optimized as a whole; objects hold machine code as well, so that nm(1) can tell what
# they call. Nothing is relocated at the start, so nothing has to be protected behind it: RELRO would cost a page.
# Not among the flags above, which a folder that is configured already would keep as they were.
set(code_flags ${instructions} -fno-pie -flto -ffat-lto-objects)
add_compile_options(${code_flags})
add_link_options(${code_flags} -Wl,-z,norelro,--build-id=none)

# The tool on 32-bit ARM: what runs as the tool on the virtual board is built by the cross compiler, in builds
# within this one, and started through qemu-user. The board, the tests and the station stay this machine's.
if(NOT R8_TOOL_ARCHITECTURE STREQUAL armhf)
    message(FATAL_ERROR "R8_TOOL_ARCHITECTURE is armhf or empty, not '${R8_TOOL_ARCHITECTURE}'")
endif()
include(ExternalProject)
find_program(R8_QEMU_ARM qemu-arm REQUIRED)

# Dynamic, with Debian's own C library: a static program loads no preload library.
set(gnu_triple arm-linux-gnueabihf)
set(tool_folder ${CMAKE_BINARY_DIR}/${R8_TOOL_ARCHITECTURE})
set(R8_TOOL ${tool_folder}/bin/r8)
set(R8_PRELOAD ${tool_folder}/lib/libvboard-preload.so)
set(R8_EMULATOR "${R8_QEMU_ARM} -L /usr/${gnu_triple}")
ExternalProject_Add(tool_${R8_TOOL_ARCHITECTURE}
    SOURCE_DIR ${PROJECT_SOURCE_DIR}
    BINARY_DIR ${tool_folder}
    CMAKE_ARGS
        -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=arm
        -DCMAKE_C_COMPILER=${gnu_triple}-gcc -DCMAKE_CXX_COMPILER=${gnu_triple}-g++
        -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DR8_WITH_BOARD=OFF -DR8_WITH_PRELOAD=ON
    BUILD_ALWAYS ON USES_TERMINAL_BUILD ON
    INSTALL_COMMAND "")
set(R8_TOOL_TARGETS tool_${R8_TOOL_ARCHITECTURE})
set_target_properties(r8 module_runner vboard-preload PROPERTIES EXCLUDE_FROM_ALL ON)

# The programs that the board gets, at their usual places.
foreach(abi armhf armel)
    ExternalProject_Add(static_${abi}
        SOURCE_DIR ${PROJECT_SOURCE_DIR}
        BINARY_DIR ${PROJECT_SOURCE_DIR}/build/${abi}
        CONFIGURE_COMMAND ${CMAKE_COMMAND} -S <SOURCE_DIR> --preset ${abi}
        BUILD_COMMAND ${CMAKE_COMMAND} --build <BINARY_DIR>
        BUILD_ALWAYS ON USES_TERMINAL_BUILD ON
        INSTALL_COMMAND "")
endforeach()

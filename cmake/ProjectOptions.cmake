# What all targets of this project are compiled with, as the interface target common_log_trace_options. Only an own
# build sets it up fully: in somebody else's, their flags hold.

if(PROJECT_IS_TOP_LEVEL)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
    endif()
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
    find_program(CCACHE_PROGRAM ccache)
    if(CCACHE_PROGRAM)
        set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
    endif()
endif()

add_library(common_log_trace_options INTERFACE)
target_compile_features(common_log_trace_options INTERFACE cxx_std_17)
if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    # Source paths in records are relative to the repository, whichever folder it was built in.
    target_compile_options(common_log_trace_options INTERFACE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
    if(PROJECT_IS_TOP_LEVEL)
        target_compile_options(common_log_trace_options INTERFACE
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
            -Woverloaded-virtual -Wcast-align -Wformat=2 -Wundef)
        if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
            # Both stem from the interfaces: formats travel as arguments, and one operation ends in a reference.
            target_compile_options(common_log_trace_options INTERFACE -Wno-format-nonliteral -Wno-varargs)
        endif()
        if(COMMON_LOG_TRACE_WARNINGS_AS_ERRORS)
            target_compile_options(common_log_trace_options INTERFACE -Werror)
        endif()
    endif()
    if(COMMON_LOG_TRACE_SANITIZERS)
        target_compile_options(common_log_trace_options INTERFACE
            "-fsanitize=${COMMON_LOG_TRACE_SANITIZERS}" -fno-omit-frame-pointer -fno-sanitize-recover=all)
        if(COMMON_LOG_TRACE_SANITIZERS MATCHES "address.*undefined")
            # What is wrong with the object behind a pointer, the address sanitizer sees where it matters; looking for it
            # twice takes a quarter of the compilation.
            target_compile_options(common_log_trace_options INTERFACE -fno-sanitize=null,vptr,object-size)
        endif()
        target_link_options(common_log_trace_options INTERFACE "-fsanitize=${COMMON_LOG_TRACE_SANITIZERS}")
    endif()
endif()

# For what clears and copies records of the queue. GCC's tuning for no processor in particular does both by one repeated
# instruction, which takes longer to get going than the C library's functions take for all of it. Tuning changes nothing
# of what is run where.
add_library(common_log_trace_blocks INTERFACE)
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-mtune=haswell COMMON_LOG_TRACE_HAS_TUNING)
if(COMMON_LOG_TRACE_HAS_TUNING)
    target_compile_options(common_log_trace_blocks INTERFACE -mtune=haswell)
endif()

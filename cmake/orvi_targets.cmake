# What every target of the project has in common.

# Warnings, sanitizers and the frame pointer for one target.
function(orvi_compile_options target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow -fno-omit-frame-pointer
                                             $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
    # No size that another process chose becomes a size on the stack.
    target_compile_options(${target} PRIVATE -Wvla -Walloca)
    # What SECURITY.md says of the built files, see check_hardening in .ci/check.sh.
    target_compile_options(${target} PRIVATE -fstack-protector-strong)
    target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
    # Where tests are built they stand before the C library's functions, and the fortified ones have other names.
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(${target} PRIVATE -Wthread-safety)
    endif()
    if(ORVI_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # The instrumented code makes this warning guess wrong, in the standard library's own headers too.
        target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
    endif()
    if(ORVI_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    # In a 32-bit program reading a directory or a large file fails without 64-bit offsets.
    target_compile_definitions(${target} PRIVATE _GNU_SOURCE _FILE_OFFSET_BITS=64)
    target_link_libraries(${target} PRIVATE Threads::Threads)
endfunction()

# What runs on a workstation is to be tried a minute after a checkout. The standard headers that most of its sources
# include are read once, which needs the same options everywhere; nobody waits for what these programs compute, and the
# debug information is that of back traces.
function(orvi_quick_build target)
    if(NOT TARGET orvi_standard_headers)
        file(WRITE ${CMAKE_BINARY_DIR}/standard_headers.cpp "")
        add_library(orvi_standard_headers OBJECT ${CMAKE_BINARY_DIR}/standard_headers.cpp)
        orvi_compile_options(orvi_standard_headers)
        orvi_quick_options(orvi_standard_headers)
        target_precompile_headers(orvi_standard_headers PRIVATE <algorithm> <chrono> <cstdint> <functional> <map>
                                                                <memory> <mutex> <optional> <string> <vector>)
    endif()
    orvi_quick_options(${target})
    target_precompile_headers(${target} REUSE_FROM orvi_standard_headers)
    orvi_in_batches(${target})
endfunction()

# Most of a small source's compilation is its headers: a dozen sources are compiled as one.
function(orvi_in_batches target)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ${ORVI_BATCHES} UNITY_BUILD_BATCH_SIZE 12)
endfunction()

function(orvi_quick_options target)
    if(NOT CMAKE_BUILD_TYPE STREQUAL "Release")
        target_compile_options(${target} PRIVATE -O1 -g1)
    endif()
    set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE OFF) # as the next line says
    target_compile_options(${target} PRIVATE -fPIC)
endfunction()

# Sources that are mostly a library's templates: optimising and describing those takes longer than the rest of a program.
# A fuzzer runs them a thousand times a second.
function(orvi_template_sources)
    if(ORVI_FUZZ)
        return()
    endif()
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "-O0;-g0" SKIP_PRECOMPILE_HEADERS ON)
endfunction()

# A program that is installed: it knows its version and has a page made of its help; COMPLETION: it prints its completion
# for bash; TESTKIT: it belongs to the test kit and not to the workstation's parts. install.cmake has the rest.
function(orvi_tool target)
    target_compile_definitions(${target} PRIVATE ORVI_VERSION="${PROJECT_VERSION}")
    set_property(GLOBAL APPEND PROPERTY ORVI_TOOLS ${target})
    set_target_properties(${target} PROPERTIES ORVI_COMPONENT host)
    if("TESTKIT" IN_LIST ARGN)
        set_target_properties(${target} PROPERTIES ORVI_COMPONENT testkit)
    endif()
    if("COMPLETION" IN_LIST ARGN)
        set_property(GLOBAL APPEND PROPERTY ORVI_TOOLS_WITH_COMPLETION ${target})
    endif()
endfunction()

# A platform library of the workstation: liborvi_<name>.so. It stays loaded for the life of the process, since
# threads and exit handlers may be inside it at any time.
function(orvi_host_library name)
    add_library(orvi_${name} SHARED ${ARGN})
    add_library(orvi::${name} ALIAS orvi_${name})
    orvi_compile_options(orvi_${name})
    target_include_directories(
        orvi_${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/platform>
                            $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/host>
                            $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>)
    target_link_options(orvi_${name} PRIVATE -Wl,-z,nodelete ${ORVI_NO_UNDEFINED})
    set_property(GLOBAL APPEND PROPERTY ORVI_HOST_LIBRARIES ${name})
endfunction()

# SPDX-License-Identifier: Apache-2.0
# Cross build for Windows x64 in the C++ ABI of the platform's own compiler, with which the hosts are built: clang, lld,
# libc++, the C headers of Wine, and what msvc_abi/ adds. cmake/build-windows-libraries has built libc++ and the other
# libraries into the machine's cache; programs run under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
foreach(language C CXX ASM)
    set(CMAKE_${language}_COMPILER clang-19)
    set(CMAKE_${language}_COMPILER_TARGET x86_64-pc-windows-msvc)
endforeach()
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_MT llvm-mt-19)
set(CMAKE_RC_COMPILER llvm-rc-19)

if(NOT TARNEL_WINDOWS_ROOT)
    set(builder ${CMAKE_CURRENT_LIST_DIR}/build-windows-libraries)
    execute_process(COMMAND ${builder} --print-root
        OUTPUT_VARIABLE TARNEL_WINDOWS_ROOT OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS ${TARNEL_WINDOWS_ROOT})
        message(FATAL_ERROR "The libraries for Windows are not in ${TARNEL_WINDOWS_ROOT}. Build them (once per machine, "
            "some minutes) with ${builder}, or set TARNEL_WINDOWS_ROOT.")
    endif()
endif()
# No program can be linked before msvc_abi/ is built: checks of the compiler only compile, unless TARNEL_WINDOWS_START
# names the library made of it.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARNEL_WINDOWS_ROOT TARNEL_WINDOWS_START)
if(NOT TARNEL_WINDOWS_START)
    set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
endif()

# Where things are is told by variables that follow a change of the folders above; the flags below are kept from the first
# configuration on.
get_filename_component(overlays ${CMAKE_CURRENT_LIST_DIR}/../msvc_abi/include ABSOLUTE)
set(wine /usr/include/wine/wine)
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES
    ${overlays} /usr/lib/llvm-19/lib/clang/19/include ${wine}/msvcrt ${wine}/windows)
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES
    ${TARNEL_WINDOWS_ROOT}/include/c++/v1 ${CMAKE_C_STANDARD_INCLUDE_DIRECTORIES})
set(libraries ${TARNEL_WINDOWS_START})
foreach(library c++ ucrt ucrt_math kernel32 advapi32 user32 shell32 ole32 setupapi cfgmgr32 psapi ws2_32)
    string(APPEND libraries " ${TARNEL_WINDOWS_ROOT}/lib/${library}.lib")
endforeach()
foreach(language C CXX)
    set(CMAKE_${language}_STANDARD_LIBRARIES "${libraries}" CACHE STRING "" FORCE)
endforeach()

# No headers of this machine's system. Functions of the C runtime are called by their names, not through import pointers,
# so that a test can take their place. WCHAR is wchar_t. Libraries are chosen above, not by pragmas in headers.
set(flags "-nostdinc -D_ACRTIMP= -DWINE_UNICODE_NATIVE -D_HAS_EXCEPTIONS=1 -D_LIBCPP_NO_AUTO_LINK")
# Thread-local variables without a thread-local section: a library that has one is told of every thread, whether it wants
# to be or not (msvc_abi/thread_locals.cpp).
string(APPEND flags " -femulated-tls -fstack-protector-strong")
set(CMAKE_C_FLAGS_INIT "${flags}")
set(CMAKE_CXX_FLAGS_INIT "${flags} -fexceptions -fcxx-exceptions")
set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)
set(CMAKE_MSVC_RUNTIME_LIBRARY "")
# lld-link warns of options that it does not know, and goes on without them: here it stops.
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Xlinker /wx -Xlinker /nodefaultlib -Xlinker /debug -Xlinker /opt:ref,icf \
-Xlinker /dynamicbase -Xlinker /highentropyva -Xlinker /nxcompat")
endforeach()

set(CMAKE_FIND_ROOT_PATH ${TARNEL_WINDOWS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/run-under-wine)

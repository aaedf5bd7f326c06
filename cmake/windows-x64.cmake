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
        OUTPUT_VARIABLE root OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT EXISTS ${root})
        message(FATAL_ERROR "The libraries for Windows are not in ${root}. Build them (once per machine, some minutes) "
            "with ${builder}, or set TARNEL_WINDOWS_ROOT.")
    endif()
    set(TARNEL_WINDOWS_ROOT ${root} CACHE PATH "libc++, xerces-c and import libraries for Windows" FORCE)
endif()
# No program can be linked before msvc_abi/ is built: checks of the compiler only compile, unless TARNEL_WINDOWS_START
# names the library made of it.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARNEL_WINDOWS_ROOT TARNEL_WINDOWS_START)
if(NOT TARNEL_WINDOWS_START)
    set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
endif()

# The headers: none of this machine's system.
get_filename_component(overlays ${CMAKE_CURRENT_LIST_DIR}/../msvc_abi/include ABSOLUTE)
set(wine /usr/include/wine/wine)
set(headers "-nostdinc -isystem ${overlays} -isystem /usr/lib/llvm-19/lib/clang/19/include")
string(APPEND headers " -isystem ${wine}/msvcrt -isystem ${wine}/windows")
# Functions of the C runtime are called by their names, not through import pointers, so that a test can take their place.
# WCHAR is wchar_t. Whole libraries are chosen below, not by pragmas in headers.
set(defines "-D_ACRTIMP= -DWINE_UNICODE_NATIVE -D_HAS_EXCEPTIONS=1 -D_LIBCPP_NO_AUTO_LINK")
# Thread-local variables without a thread-local section: a library that has one is told of every thread, whether it wants
# to be or not (msvc_abi/thread_locals.cpp).
set(code "-femulated-tls -fstack-protector-strong")
set(CMAKE_C_FLAGS_INIT "${headers} ${defines} ${code}")
set(CMAKE_CXX_FLAGS_INIT
    "-isystem ${TARNEL_WINDOWS_ROOT}/include/c++/v1 ${headers} ${defines} ${code} -fexceptions -fcxx-exceptions")
set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)
set(CMAKE_MSVC_RUNTIME_LIBRARY "")

# lld-link warns of options that it does not know, and goes on without them: here it stops.
set(link "-Xlinker /wx -Xlinker /libpath:${TARNEL_WINDOWS_ROOT}/lib -Xlinker /nodefaultlib -Xlinker /debug")
string(APPEND link " -Xlinker /opt:ref,icf -Xlinker /dynamicbase -Xlinker /highentropyva -Xlinker /nxcompat")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "${link}")
endforeach()
set(libraries "${TARNEL_WINDOWS_START} -lc++ -lucrt -lucrt_math -lkernel32 -ladvapi32 -luser32 -lshell32 -lole32")
foreach(language C CXX)
    set(CMAKE_${language}_STANDARD_LIBRARIES "${libraries}" CACHE STRING "" FORCE)
endforeach()

set(CMAKE_FIND_ROOT_PATH ${TARNEL_WINDOWS_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/run-under-wine)

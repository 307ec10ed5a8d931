# Cross-compiles for Windows x86-64 with Debian's mingw-w64 and runs the results under Wine.
#
#   cmake --preset mingw    (tools/build-openssl-mingw and tools/build-argon2-mingw must have run first)
#
# OpenSSL comes from the cache that tools/build-openssl-mingw fills; OPENSSL_ROOT_DIR on the
# command line, or QVCS_OPENSSL_MINGW_CACHE in the environment, points elsewhere. libargon2 comes
# from the cache of tools/build-argon2-mingw; ARGON2_ROOT_DIR or QVCS_ARGON2_MINGW_CACHE likewise.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# gcc 12's default (win32) thread model has no std::thread or std::mutex; the posix one has, on
# top of winpthread.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_OBJDUMP x86_64-w64-mingw32-objdump CACHE FILEPATH "objdump for the target's binaries")

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The runtime (libgcc, libstdc++, winpthread) goes into every binary, so Wine needs no DLL beyond
# the library's own and the system's.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")

# qvcs_mingw_cache(VARIABLE ENVIRONMENT): the cache folder of a tools/build-*-mingw script.
function(qvcs_mingw_cache variable environment)
  if(DEFINED ENV{${environment}})
    set(${variable} "$ENV{${environment}}" PARENT_SCOPE)
  elseif(DEFINED ENV{XDG_CACHE_HOME})
    set(${variable} "$ENV{XDG_CACHE_HOME}/qvcrypto" PARENT_SCOPE)
  else()
    set(${variable} "$ENV{HOME}/.cache/qvcrypto" PARENT_SCOPE)
  endif()
endfunction()

if(NOT OPENSSL_ROOT_DIR)
  qvcs_mingw_cache(_qvcs_openssl_cache QVCS_OPENSSL_MINGW_CACHE)
  set(OPENSSL_ROOT_DIR "${_qvcs_openssl_cache}/openssl-mingw")
endif()
if(NOT EXISTS "${OPENSSL_ROOT_DIR}/lib/libcrypto.a")
  message(FATAL_ERROR "No libcrypto for mingw in ${OPENSSL_ROOT_DIR}: run tools/build-openssl-mingw first")
endif()
set(OPENSSL_USE_STATIC_LIBS TRUE)
list(APPEND CMAKE_FIND_ROOT_PATH "${OPENSSL_ROOT_DIR}")

if(NOT ARGON2_ROOT_DIR)
  qvcs_mingw_cache(_qvcs_argon2_cache QVCS_ARGON2_MINGW_CACHE)
  set(ARGON2_ROOT_DIR "${_qvcs_argon2_cache}/argon2-mingw")
endif()
if(NOT EXISTS "${ARGON2_ROOT_DIR}/lib/libargon2.a")
  message(FATAL_ERROR "No libargon2 for mingw in ${ARGON2_ROOT_DIR}: run tools/build-argon2-mingw first")
endif()
list(APPEND CMAKE_FIND_ROOT_PATH "${ARGON2_ROOT_DIR}")

# Every test runs in a Windows prefix of its own (see wine-run).
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/wine-run")

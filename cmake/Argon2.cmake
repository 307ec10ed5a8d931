# libargon2, for the Argon2id password hashes: Debian's libargon2-dev on the build machine; for
# the mingw build the static library that tools/build-argon2-mingw makes, whose place the mingw
# toolchain file adds to the search roots. Linked privately into the shared library.
find_path(ARGON2_INCLUDE_DIR argon2.h)
find_library(ARGON2_LIBRARY NAMES argon2)
if(NOT ARGON2_INCLUDE_DIR OR NOT ARGON2_LIBRARY)
  if(CMAKE_CROSSCOMPILING)
    message(FATAL_ERROR "No libargon2 for the target: run tools/build-argon2-mingw first")
  endif()
  message(FATAL_ERROR "No libargon2: install libargon2-dev (tools/install-deps)")
endif()
add_library(Argon2::Argon2 UNKNOWN IMPORTED)
set_target_properties(Argon2::Argon2 PROPERTIES IMPORTED_LOCATION ${ARGON2_LIBRARY}
                                                INTERFACE_INCLUDE_DIRECTORIES ${ARGON2_INCLUDE_DIR})
